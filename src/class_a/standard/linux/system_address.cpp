#include <arpa/inet.h>

#include <cerrno>

#include "class_a/standard/detail/system_address.h"

namespace ksl {

bool parse_ipv6(const char* text, unsigned char (&bytes)[16]) {
    return inet_pton(AF_INET6, text, bytes) == 1;
}

static int format(int family, const unsigned char* bytes, std::string& text) {
    char buffer[INET6_ADDRSTRLEN];
    if (inet_ntop(family, bytes, buffer, sizeof buffer) == nullptr) return errno;
    text = buffer;
    return 0;
}

int format_ipv4(const unsigned char* bytes, std::string& text) {
    return format(AF_INET, bytes, text);
}

int format_ipv6(const unsigned char* bytes, std::string& text) {
    return format(AF_INET6, bytes, text);
}

}  // namespace ksl
