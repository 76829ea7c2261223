#pragma once

#include <string>

// Numbers as text, in the forms of printf in the "C" locale whatever the locale of the process.
namespace ksl {

std::string decimal_text(long long value);           // "%lli"
std::string decimal_text(unsigned long long value);  // "%llu"
std::string hex_text(unsigned long long value);      // "%#llx": 0x in front, but for zero
std::string general_text(double value);              // "%g"
std::string fixed_text(float value);                 // "%f"

}  // namespace ksl
