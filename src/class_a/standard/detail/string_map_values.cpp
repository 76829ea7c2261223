// The typed access of CStringMap: settings as numbers, flags and times.

#include <array>
#include <charconv>
#include <cstring>

#include "class_a/standard/CNumberConversion.h"
#include "class_a/standard/CStringMap.h"
#include "class_a/standard/detail/number_parser.h"
#include "class_a/standard/detail/number_text.h"
#include "class_a/standard/ksl_text.h"

namespace ksl {

namespace {

constexpr int kBase = 10;

// Enough to tell any two doubles apart.
constexpr int kExactDigits = 17;

template <class Number, class Wide>
Number cut(Wide wide) {
    return static_cast<Number>(wide);
}

std::string exact_text(double value) {
    std::array<char, 64> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::general, kExactDigits);
    return {digits.data(), end.ptr};
}

bool is_true(const std::string& text) {
    return text == "true" || text == "TRUE" || text == "True";
}

// Microseconds in one of the unit; 0 for text that is no unit.
std::uint32_t unit_factor(const std::string& unit) {
    if (unit.empty() || unit == "s") return 1000000;
    if (unit == "ms") return 1000;
    return unit == "us" ? 1 : 0;
}

// Whether the number that was read up to `end` is the front of a longer one that isn't complete: "0x" without
// a digit, or more of "infinity" than "inf". For a scanner, which looks no further ahead than by one
// character, such a text holds no number.
bool is_cut_short(const char* text, const char* end) {
    const char* number = text + std::strspn(text, " \t\n\v\f\r");
    if (*number == '+' || *number == '-') ++number;
    const std::string read(number, end);
    if (*end == 'x' || *end == 'X') return read == "0";
    return (*end == 'i' || *end == 'I') && iequals(read, std::string("inf"));
}

}  // namespace

short CStringMap::getShort(const std::string& key) const {
    return CNumberConversion::toShort(get(key), kBase);
}

short CStringMap::getShort(const std::string& key, short fallback) const {
    return hasValue(key) ? getShort(key) : fallback;
}

long CStringMap::getLong(const std::string& key) const {
    return CNumberConversion::toLong(get(key), kBase);
}

long CStringMap::getLong(const std::string& key, long fallback) const {
    return hasValue(key) ? getLong(key) : fallback;
}

unsigned long CStringMap::getULong(const std::string& key) const {
    return CNumberConversion::toULong(get(key), kBase);
}

unsigned long CStringMap::getULong(const std::string& key, unsigned long fallback) const {
    return hasValue(key) ? getULong(key) : fallback;
}

std::int8_t CStringMap::getInt8(const std::string& key) const {
    return cut<std::int8_t>(getLong(key));
}

std::int16_t CStringMap::getInt16(const std::string& key) const {
    return cut<std::int16_t>(getLong(key));
}

std::int32_t CStringMap::getInt32(const std::string& key) const {
    return cut<std::int32_t>(getLong(key));
}

std::uint8_t CStringMap::getUInt8(const std::string& key) const {
    return cut<std::uint8_t>(getULong(key));
}

std::uint8_t CStringMap::getUInt8(const std::string& key, std::uint8_t fallback) const {
    return cut<std::uint8_t>(getULong(key, fallback));
}

std::uint16_t CStringMap::getUInt16(const std::string& key) const {
    return cut<std::uint16_t>(getULong(key));
}

std::uint16_t CStringMap::getUInt16(const std::string& key, std::uint16_t fallback) const {
    return cut<std::uint16_t>(getULong(key, fallback));
}

std::uint32_t CStringMap::getUInt32(const std::string& key) const {
    return cut<std::uint32_t>(getULong(key));
}

std::uint32_t CStringMap::getUInt32(const std::string& key, std::uint32_t fallback) const {
    return cut<std::uint32_t>(getULong(key, fallback));
}

std::int64_t CStringMap::getInt64(const std::string& key) const {
    return CNumberConversion::toInt64(get(key), kBase);
}

std::int64_t CStringMap::getInt64(const std::string& key, std::int64_t fallback) const {
    return hasValue(key) ? getInt64(key) : fallback;
}

std::uint64_t CStringMap::getUInt64(const std::string& key) const {
    return CNumberConversion::toUInt64(get(key), kBase);
}

std::uint64_t CStringMap::getUInt64(const std::string& key, std::uint64_t fallback) const {
    return hasValue(key) ? getUInt64(key) : fallback;
}

CTimeT CStringMap::getTime(const std::string& key, const CTimeT& fallback) const {
    return getInt64(key, fallback.value());
}

bool CStringMap::getBool(const std::string& key) const {
    return is_true(get(key));
}

bool CStringMap::getBool(const std::string& key, bool fallback) const {
    return has(key) ? getBool(key) : fallback;
}

float CStringMap::getFloat(const std::string& key, float fallback) const {
    return hasValue(key) ? static_cast<float>(classic_strtod(get(key).c_str(), nullptr)) : fallback;
}

double CStringMap::getDouble(const std::string& key, double fallback) const {
    if (!hasValue(key)) return fallback;
    const char* const text = get(key).c_str();
    char* end = nullptr;
    const double value = classic_strtod(text, &end);
    return end == text || is_cut_short(text, end) ? fallback : value;
}

unsigned long CStringMap::getDuration(const std::string& key, unsigned long fallback) const {
    if (!has(key)) return fallback;
    std::string digits;
    std::string unit;
    for (const char c : get(key))
        (c >= '0' && c <= '9' ? digits : unit) += c;
    const auto number = static_cast<std::uint32_t>(CNumberConversion::toULong(digits, kBase));
    const std::uint32_t factor = unit_factor(unit);
    return factor == 0 ? fallback : number * factor;
}

void CStringMap::setBool(const std::string& key, bool value) {
    set(key, value ? "true" : "false");
}

void CStringMap::setShort(const std::string& key, short value) {
    set(key, CNumberConversion::toString(value));
}

void CStringMap::setLong(const std::string& key, long value) {
    set(key, CNumberConversion::toString(value));
}

void CStringMap::setULong(const std::string& key, unsigned long value) {
    set(key, CNumberConversion::toString(value));
}

void CStringMap::setInt64(const std::string& key, std::int64_t value) {
    set(key, CNumberConversion::toString(value));
}

void CStringMap::setUInt64(const std::string& key, std::uint64_t value) {
    set(key, CNumberConversion::toString(value));
}

void CStringMap::setFloat(const std::string& key, float value) {
    set(key, general_text(value));
}

void CStringMap::setDouble(const std::string& key, double value) {
    set(key, exact_text(value));
}

void CStringMap::setSeconds(const std::string& key, unsigned long value) {
    set(key, CNumberConversion::toString(value) + "s");
}

void CStringMap::setMilliseconds(const std::string& key, unsigned long value) {
    set(key, CNumberConversion::toString(value) + "ms");
}

void CStringMap::setMicroseconds(const std::string& key, unsigned long value) {
    set(key, CNumberConversion::toString(value) + "us");
}

}  // namespace ksl
