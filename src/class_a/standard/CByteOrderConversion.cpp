#include "class_a/standard/CByteOrderConversion.h"

namespace ksl {

CByteOrderConversion::~CByteOrderConversion() = default;

const bool CByteOrderConversion::_bigEndian = isBigEndian();

std::uint16_t CByteOrderConversion::hton(std::uint16_t value) {
    return _bigEndian ? value : static_cast<std::uint16_t>(value << 8 | value >> 8);
}

std::uint32_t CByteOrderConversion::hton(std::uint32_t value) {
    if (_bigEndian) return value;
    const auto low = static_cast<std::uint16_t>(value);
    const auto high = static_cast<std::uint16_t>(value >> 16);
    return static_cast<std::uint32_t>(hton(low)) << 16 | hton(high);
}

std::uint64_t CByteOrderConversion::hton(std::uint64_t value) {
    if (_bigEndian) return value;
    const auto low = static_cast<std::uint32_t>(value);
    const auto high = static_cast<std::uint32_t>(value >> 32);
    return static_cast<std::uint64_t>(hton(low)) << 32 | hton(high);
}

std::int16_t CByteOrderConversion::hton(std::int16_t value) {
    return static_cast<std::int16_t>(hton(static_cast<std::uint16_t>(value)));
}

std::int32_t CByteOrderConversion::hton(std::int32_t value) {
    return static_cast<std::int32_t>(hton(static_cast<std::uint32_t>(value)));
}

std::int64_t CByteOrderConversion::hton(std::int64_t value) {
    return static_cast<std::int64_t>(hton(static_cast<std::uint64_t>(value)));
}

}  // namespace ksl
