#include "class_a/standard/CBitShift.h"

#include <algorithm>

#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

constexpr long kByte = 8;

// The bits of a shift that make a difference: after the last one the block is all zeros.
long useful_bits(std::size_t length, long bits) {
    const auto passes = static_cast<unsigned long>(bits) / kByte;
    return passes < length ? bits : static_cast<long>(length) * kByte;
}

}  // namespace

void CBitShift::left(unsigned char* data, std::size_t length, long bits) {
    if (bits < 0) {
        throw_exception(KSL_STATIC_SITE("CBitShift::left"), CMessage("Cannot left shift by %1 bits.") << bits,
                        CMessage("Negative shift is not supported."));
    }
    for (long rest = useful_bits(length, bits); rest > 0; rest -= kByte) {
        const long n = std::min(rest, kByte);
        unsigned carry = 0;
        for (std::size_t i = length; i-- > 0;) {
            const unsigned byte = data[i];
            data[i] = static_cast<unsigned char>(byte << n | carry);
            carry = byte >> (kByte - n);
        }
    }
}

void CBitShift::right(unsigned char* data, std::size_t length, long bits) {
    if (bits < 0) {
        throw_exception(KSL_STATIC_SITE("CBitShift::right"),
                        CMessage("Cannot right shift by %1 bits.") << bits,
                        CMessage("Negative shift is not supported."));
    }
    for (long rest = useful_bits(length, bits); rest > 0; rest -= kByte) {
        const long n = std::min(rest, kByte);
        unsigned carry = 0;
        for (std::size_t i = 0; i < length; ++i) {
            const unsigned byte = data[i];
            data[i] = static_cast<unsigned char>(byte >> n | carry);
            carry = byte << (kByte - n);
        }
    }
}

}  // namespace ksl
