#include "class_a/standard/detail/number_text.h"

#include <array>
#include <charconv>

namespace ksl {

namespace {

// Holds the longest of the forms, the fixed one: the 39 digits of the largest float, a point and 6 more.
using Digits = std::array<char, 64>;

template <class Number, class... Form>
std::string text_of(Number value, Form... form) {
    Digits digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, form...);
    return {digits.data(), end.ptr};
}

constexpr int kPrintfPrecision = 6;

}  // namespace

std::string decimal_text(long long value) {
    return text_of(value);
}

std::string decimal_text(unsigned long long value) {
    return text_of(value);
}

std::string hex_text(unsigned long long value) {
    std::string prefix = value == 0 ? "" : "0x";
    return prefix.append(text_of(value, 16));
}

std::string general_text(double value) {
    return text_of(value, std::chars_format::general, kPrintfPrecision);
}

std::string fixed_text(float value) {
    return text_of(value, std::chars_format::fixed, kPrintfPrecision);
}

}  // namespace ksl
