#include "class_a/standard/detail/number_parser.h"

#include <cerrno>
#include <cstdlib>

#include "class_a/standard/detail/system_error.h"

namespace ksl {

namespace {

// Runs `parse(begin, &end)`. A parser that refuses its base stores no end, which counts as having read
// nothing.
template <class Value, class Parse>
CParsedNumber parse_whole(const std::string& text, Value& value, Parse parse) {
    char* end = nullptr;
    errno = 0;
    value = parse(text.c_str(), &end);
    const bool inRange = errno == 0;
    const int code = last_system_error();
    return {inRange && end == text.c_str() + text.size(), code};
}

}  // namespace

CParsedNumber parse_unsigned(const std::string& text, int base, std::uint64_t& value) {
    return parse_whole(text, value, [base](const char* begin, char** end) {
        return static_cast<std::uint64_t>(std::strtoull(begin, end, base));
    });
}

CParsedNumber parse_signed(const std::string& text, int base, std::int64_t& value) {
    return parse_whole(text, value, [base](const char* begin, char** end) {
        return static_cast<std::int64_t>(std::strtoll(begin, end, base));
    });
}

CParsedNumber parse_double(const std::string& text, double& value) {
    CParsedNumber parsed = parse_whole(text, value, classic_strtod);
    if (text.empty()) parsed.whole = false;
    return parsed;
}

}  // namespace ksl
