#pragma once

#include <cstdint>
#include <string>

// The C library's number parsers on a whole text.
namespace ksl {

struct CParsedNumber {
    bool whole;  // the text is a number from its first byte to its last, and in range
    int code;    // the system's last error of that moment, for the report of a text that isn't
};

CParsedNumber parse_unsigned(const std::string& text, int base, std::uint64_t& value);  // strtoull
CParsedNumber parse_signed(const std::string& text, int base, std::int64_t& value);     // strtoll

// strtod, in the "C" locale. An empty text is no number here.
CParsedNumber parse_double(const std::string& text, double& value);

// strtod itself, which is the platform's: the C library has no portable one that ignores the locale.
double classic_strtod(const char* text, char** end);

}  // namespace ksl
