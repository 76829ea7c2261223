// The address as a number: arithmetic, bits and prefixes.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "class_a/standard/CBitShift.h"
#include "class_a/standard/CByteOrderConversion.h"
#include "class_a/standard/CIPAddress.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

// Adds two numbers of `size` bytes with the most significant byte first; the last carry is dropped.
void add_bytes(unsigned char* sum, const unsigned char* addend, std::size_t size) {
    unsigned carry = 0;
    for (std::size_t i = size; i-- > 0;) {
        carry += static_cast<unsigned>(sum[i]) + addend[i];
        sum[i] = static_cast<unsigned char>(carry);
        carry >>= 8;
    }
}

std::uint64_t number_of(const unsigned char* bytes, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i)
        number = number << 8 | bytes[i];
    return number;
}

// Combines the bytes that both addresses have.
template <typename Combine>
void combine_bytes(unsigned char* left, std::size_t leftSize, const CIPAddress& other, Combine combine) {
    const unsigned char* const right = other.raw_addr();
    std::transform(left, left + std::min(leftSize, other.size()), right, left, combine);
}

}  // namespace

double CIPAddress::toDouble() const {
    if (_type == ipv4) return static_cast<double>(number_of(_v4bytes(), 4));
    return static_cast<double>(number_of(_v6bytes(), 8)) * std::pow(2.0, 64) +
           static_cast<double>(number_of(_v6bytes() + 8, 8));
}

CIPAddress& CIPAddress::operator+=(const CIPAddress& other) {
    if (_type != other._type)
        throw_exception(KSL_SITE("CIPAddress::operator+="), CMessage("Illegal operation."),
                        CMessage("Type mismatch between ip addresses."));
    const CIPAddress addend(other);
    add_bytes(_raw(), addend.raw_addr(), size());
    return *this;
}

CIPAddress& CIPAddress::operator-=(const CIPAddress& other) {
    if (_type != other._type)
        throw_exception(KSL_SITE("CIPAddress::operator-="), CMessage("Illegal operation."),
                        CMessage("Type mismatch between ip addresses."));
    CIPAddress complement(other);
    ~complement;
    return *this += ++complement;
}

static CIPAddress one(CIPAddress::Type type) {
    return CIPAddress(CByteOrderConversion::hton(std::uint32_t{1}), type);
}

CIPAddress& CIPAddress::operator++() {
    return *this += one(_type);
}

CIPAddress& CIPAddress::operator--() {
    return *this -= one(_type);
}

CIPAddress CIPAddress::operator++(int) {
    CIPAddress before(*this);
    ++*this;
    return before;
}

CIPAddress CIPAddress::operator--(int) {
    CIPAddress before(*this);
    --*this;
    return before;
}

CIPAddress& CIPAddress::operator|=(const CIPAddress& other) {
    combine_bytes(_raw(), size(), other, std::bit_or<>());
    return *this;
}

CIPAddress& CIPAddress::operator&=(const CIPAddress& other) {
    combine_bytes(_raw(), size(), other, std::bit_and<>());
    return *this;
}

CIPAddress& CIPAddress::operator^=(const CIPAddress& other) {
    combine_bytes(_raw(), size(), other, std::bit_xor<>());
    return *this;
}

CIPAddress CIPAddress::operator~() {
    unsigned char* const bytes = _raw();
    for (std::size_t i = 0; i < size(); ++i)
        bytes[i] = static_cast<unsigned char>(~bytes[i]);
    return *this;
}

CIPAddress& CIPAddress::operator<<=(long bits) {
    CBitShift::left(_raw(), size(), bits);
    return *this;
}

CIPAddress& CIPAddress::operator>>=(long bits) {
    CBitShift::right(_raw(), size(), bits);
    return *this;
}

CIPAddress CIPAddress::createPrefix(unsigned bits) const {
    CIPAddress prefix(*this);
    const unsigned total = static_cast<unsigned>(size()) * 8;
    if (bits > total)
        throw_exception(KSL_SITE("CIPAddress::createPrefix"),
                        CMessage("Cannot create prefix from ip address."),
                        CMessage("Address contains less than %1 bits.") << bits);
    const long dropped = static_cast<long>(total - bits);
    prefix >>= dropped;
    prefix <<= dropped;
    return prefix;
}

int CIPAddress::prefixLenFromMask(const CIPAddress& mask) {
    const auto refuse = [] {
        throw_exception(KSL_STATIC_SITE("CIPAddress::prefixLenFromMask"),
                        CMessage("Cannot calculate prefix length from subnet mask."),
                        CMessage("Subnet mask is invalid."));
    };
    const Category category = mask.category();
    if (category == broadcast || category == any) refuse();
    const auto bits = static_cast<std::uint32_t>(number_of(mask.raw_addr(), 4));
    const int ones = std::popcount(bits);
    if (ones != std::countl_one(bits)) refuse();
    return ones;
}

}  // namespace ksl
