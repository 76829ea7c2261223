#include "class_a/standard/detail/address_number.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "class_a/standard/CBitShift.h"
#include "class_a/standard/CByteOrderConversion.h"
#include "class_a/standard/CIPAddress.h"

namespace ksl {

void add_bytes(unsigned char* sum, const unsigned char* addend, std::size_t size) {
    unsigned carry = 0;
    for (std::size_t i = size; i-- > 0;) {
        carry += static_cast<unsigned>(sum[i]) + addend[i];
        sum[i] = static_cast<unsigned char>(carry);
        carry >>= 8;
    }
}

std::uint64_t number_of_bytes(const unsigned char* bytes, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i)
        number = number << 8 | bytes[i];
    return number;
}

namespace {

// Combines the bytes that both addresses have.
template <typename Combine>
void combine_bytes(unsigned char* left, std::size_t leftSize, const CIPAddress& other, Combine combine) {
    const unsigned char* const right = other.raw_addr();
    std::transform(left, left + std::min(leftSize, other.size()), right, left, combine);
}

}  // namespace

double CIPAddress::toDouble() const {
    if (_type == ipv4) return static_cast<double>(number_of_bytes(_v4bytes(), 4));
    return static_cast<double>(number_of_bytes(_v6bytes(), 8)) * std::pow(2.0, 64) +
           static_cast<double>(number_of_bytes(_v6bytes() + 8, 8));
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

}  // namespace ksl
