#pragma once

#include <string>

// The text forms of addresses that are the same on every platform.
namespace ksl {

// Reads four decimal parts of 1 to 3 digits. False, with `bytes` undefined, for any other text.
bool parse_ipv4(const std::string& text, unsigned char (&bytes)[4]);

// The text of fixed width of 4 or 16 bytes: "010.000.000.001", or eight groups of four lower case digits.
std::string fixed_width_text(const unsigned char* bytes, std::size_t size);

}  // namespace ksl
