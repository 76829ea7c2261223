#pragma once

#include <string>

namespace ksl {

// Reads IPv6 text by the platform's grammar into 16 bytes in network byte order. False, with `bytes`
// untouched, for text that it refuses. On Windows the process must have started Windows Sockets, here and
// below.
bool parse_ipv6(const char* text, unsigned char (&bytes)[16]);

// Writes the platform's standard text of 4 or 16 address bytes in network byte order to `text`. Returns 0, or
// the platform's error code with `text` untouched.
int format_ipv4(const unsigned char* bytes, std::string& text);
int format_ipv6(const unsigned char* bytes, std::string& text);

}  // namespace ksl
