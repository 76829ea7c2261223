#include "class_a/standard/CNumberConversion.h"

#include <limits>
#include <utility>

#include "class_a/standard/CNumberConversionException.h"
#include "class_a/standard/detail/number_parser.h"
#include "class_a/standard/detail/number_text.h"
#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

constexpr const char* kCannot = "Cannot deserialize number from text.";

bool has_minus(const std::string& text) {
    return contains_char('-', text);
}

// The site of a failure is that of the operation that was called, not that of the helpers here.
void require_whole(const CThrowSite& site, const CParsedNumber& parsed, const std::string& text) {
    if (parsed.whole) return;
    throw_exception<CNumberConversionException>(
        site, CMessage("Cannot deserialize number '%1' from text.") << text, CMessage(), parsed.code);
}

[[noreturn]] void refuse(const CThrowSite& site, const CMessage& reason) {
    throw_exception<CNumberConversionException>(site, CMessage(kCannot), reason);
}

// The value of a wider operation, for a type whose width is part of its name and so of the message, under
// which a message store finds its translation.
template <class Result, class Wide>
Result narrow_to_width(const CThrowSite& site, Wide wide, const std::string& text, const char* reason) {
    if (!std::in_range<Result>(wide)) refuse(site, CMessage(reason) << text);
    return static_cast<Result>(wide);
}

// The same for the types of the language, whose width is a value in the message. `Range` has that width.
template <class Range, class Wide>
Range narrow_to_type(const CThrowSite& site, Wide wide, const std::string& text) {
    if (!std::in_range<Range>(wide)) {
        const int bits = std::numeric_limits<std::make_unsigned_t<Range>>::digits;
        refuse(site, CMessage("Value '%1' overflows %2 bits.") << text << bits);
    }
    return static_cast<Range>(wide);
}

constexpr const char* kOverflow8 = "Value '%1' overflows 8 bits.";
constexpr const char* kOverflow16 = "Value '%1' overflows 16 bits.";
constexpr const char* kOverflow32 = "Value '%1' overflows 32 bits.";

}  // namespace

CNumberConversion::CNumberConversion(const std::string& text, int base) : _text(text) {
    std::string digits = text;
    trim_left_any(digits, " \t\n\v\f\r");  // what the parsers skip
    if (digits.empty()) return;
    _negative = digits.front() == '-';
    _signed = _negative || digits.front() == '+';
    if (_signed) {
        std::int64_t parsed = 0;
        _valid = parse_signed(digits, base, parsed).whole;
        const auto bits = static_cast<std::uint64_t>(parsed);
        _value = parsed < 0 ? 0 - bits : bits;
    } else {
        _valid = parse_unsigned(digits, base, _value).whole;
    }
}

CNumberConversion::~CNumberConversion() = default;

void CNumberConversion::_requireValid() const {
    if (_valid) return;
    refuse(KSL_STATIC_SITE("CNumberConversion::value"), CMessage("Value '%1' is not a valid number.")
                                                            << _text);
}

std::uint64_t CNumberConversion::value() const {
    _requireValid();
    return _value;
}

bool CNumberConversion::isSigned() const {
    _requireValid();
    return _signed;
}

bool CNumberConversion::isNegative() const {
    _requireValid();
    return _negative;
}

std::uint64_t CNumberConversion::toUInt64(const std::string& text, int base) {
    if (has_minus(text)) {
        refuse(KSL_STATIC_SITE("CNumberConversion::toUInt64"), CMessage("Invalid format '%1' appears signed.")
                                                                   << text);
    }
    std::uint64_t value = 0;
    require_whole(KSL_STATIC_SITE("CNumberConversion::toUInt64"), parse_unsigned(text, base, value), text);
    return value;
}

std::int64_t CNumberConversion::toInt64(const std::string& text, int base) {
    std::int64_t value = 0;
    require_whole(KSL_STATIC_SITE("CNumberConversion::toInt64"), parse_signed(text, base, value), text);
    return value;
}

long CNumberConversion::toLong(const std::string& text, int base) {
    return narrow_to_type<std::int32_t>(KSL_STATIC_SITE("CNumberConversion::toLong"), toInt64(text, base),
                                        text);
}

unsigned long CNumberConversion::toULong(const std::string& text, int base) {
    return narrow_to_type<std::uint32_t>(KSL_STATIC_SITE("CNumberConversion::toULong"), toUInt64(text, base),
                                         text);
}

int CNumberConversion::toInt(const std::string& text, int base) {
    return narrow_to_type<int>(KSL_STATIC_SITE("CNumberConversion::toInt"), toInt64(text, base), text);
}

unsigned int CNumberConversion::toUInt(const std::string& text, int base) {
    return narrow_to_type<unsigned int>(KSL_STATIC_SITE("CNumberConversion::toUInt"), toUInt64(text, base),
                                        text);
}

short CNumberConversion::toShort(const std::string& text, int base) {
    return narrow_to_type<short>(KSL_STATIC_SITE("CNumberConversion::toShort"), toInt64(text, base), text);
}

unsigned short CNumberConversion::toUShort(const std::string& text, int base) {
    return narrow_to_type<unsigned short>(KSL_STATIC_SITE("CNumberConversion::toUShort"),
                                          toUInt64(text, base), text);
}

std::int8_t CNumberConversion::toInt8(const std::string& text, int base) {
    return narrow_to_width<std::int8_t>(KSL_STATIC_SITE("CNumberConversion::toInt8"), toInt64(text, base),
                                        text, kOverflow8);
}

std::uint8_t CNumberConversion::toUInt8(const std::string& text, int base) {
    return narrow_to_width<std::uint8_t>(KSL_STATIC_SITE("CNumberConversion::toUInt8"), toUInt64(text, base),
                                         text, kOverflow8);
}

std::int16_t CNumberConversion::toInt16(const std::string& text, int base) {
    return narrow_to_width<std::int16_t>(KSL_STATIC_SITE("CNumberConversion::toInt16"), toInt64(text, base),
                                         text, kOverflow16);
}

std::uint16_t CNumberConversion::toUInt16(const std::string& text, int base) {
    return narrow_to_width<std::uint16_t>(KSL_STATIC_SITE("CNumberConversion::toUInt16"),
                                          toUInt64(text, base), text, kOverflow16);
}

std::int32_t CNumberConversion::toInt32(const std::string& text, int base) {
    return narrow_to_width<std::int32_t>(KSL_STATIC_SITE("CNumberConversion::toInt32"), toInt64(text, base),
                                         text, kOverflow32);
}

std::uint32_t CNumberConversion::toUInt32(const std::string& text, int base) {
    return narrow_to_width<std::uint32_t>(KSL_STATIC_SITE("CNumberConversion::toUInt32"),
                                          toUInt64(text, base), text, kOverflow32);
}

double CNumberConversion::toDouble(const std::string& text) {
    double value = 0;
    require_whole(KSL_STATIC_SITE("CNumberConversion::toDouble"), parse_double(text, value), text);
    return value;
}

float CNumberConversion::toFloat(const std::string& text) {
    static_assert(std::numeric_limits<float>::is_iec559, "a value too large for a float becomes infinite");
    double value = 0;
    require_whole(KSL_STATIC_SITE("CNumberConversion::toFloat"), parse_double(text, value), text);
    return static_cast<float>(value);
}

bool CNumberConversion::isNumber(const std::string& text, int base) {
    if (text.empty()) return false;
    std::int64_t number = 0;
    std::uint64_t magnitude = 0;
    return has_minus(text) ? parse_signed(text, base, number).whole
                           : parse_unsigned(text, base, magnitude).whole;
}

std::string CNumberConversion::toString(long long value) {
    return decimal_text(value);
}

std::string CNumberConversion::toString(unsigned long long value) {
    return decimal_text(value);
}

std::string CNumberConversion::toString(double value) {
    return general_text(value);
}

std::string CNumberConversion::toString(float value) {
    return fixed_text(value);
}

}  // namespace ksl
