#include "database/decimal_number.h"

#include <charconv>
#include <cstring>
#include <limits>

std::optional<std::int64_t> ReadDecimal(const char* text) {
    text += std::strspn(text, " \t\n\v\f\r");
    if (text[0] == '+' && text[1] != '-') ++text;
    std::int64_t number = 0;
    const auto parsed = std::from_chars(text, text + std::strlen(text), number);
    if (parsed.ec == std::errc::result_out_of_range) return std::nullopt;
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return number;
}
