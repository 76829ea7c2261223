// What a value of bootptab says: a number, an address, a time.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/windows_api.h"
#include "request/boot_packet.h"

// Reads as `atoi` does: blanks, a sign, digits up to the first other character; no digits give 0. Returns
// nothing for a number that 32 bits hold neither as signed nor as unsigned, where `atoi` has no defined
// result.
std::optional<std::int64_t> ReadDecimal(const char* text);

// The four wire bytes of a dotted address, as `inet_addr` reads it; all ones for a text that is none.
IpAddress ReadAddress(const char* text);

// Seconds of hours, minutes and seconds with colons between them, or all ones for "Infinite". Blanks around
// each of these don't count. Returns nothing for a text without two colons.
std::optional<DWORD> ReadTime(const char* text);
