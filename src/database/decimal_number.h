// Decimal numbers in the values of bootptab.
#pragma once

#include <cstdint>
#include <optional>

// Reads as `atoi` does: blanks, a sign, digits up to the first other character; no digits give 0. Nothing is
// answered for a number that 32 bits hold neither as signed nor as unsigned, where `atoi` has no defined
// result.
std::optional<std::int64_t> ReadDecimal(const char* text);
