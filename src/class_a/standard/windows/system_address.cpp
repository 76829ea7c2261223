#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#include "class_a/standard/detail/system_address.h"
#include "class_a/standard/ksl_text.h"

namespace ksl {

bool parse_ipv6(const char* text, unsigned char (&bytes)[16]) {
    std::wstring wide = from_utf8(text);
    sockaddr_in6 address = {};
    int length = sizeof address;
    if (WSAStringToAddressW(wide.data(), AF_INET6, nullptr, reinterpret_cast<sockaddr*>(&address), &length) !=
        0)
        return false;
    std::memcpy(bytes, &address.sin6_addr, sizeof bytes);
    return true;
}

template <typename Address>
static int format(Address& address, std::string& text) {
    wchar_t buffer[512] = {};
    DWORD length = 512;
    if (WSAAddressToStringW(reinterpret_cast<sockaddr*>(&address), sizeof address, nullptr, buffer,
                            &length) != 0)
        return WSAGetLastError();
    text = to_utf8(buffer);
    return 0;
}

int format_ipv4(const unsigned char* bytes, std::string& text) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    std::memcpy(&address.sin_addr, bytes, 4);
    return format(address, text);
}

int format_ipv6(const unsigned char* bytes, std::string& text) {
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    std::memcpy(&address.sin6_addr, bytes, 16);
    return format(address, text);
}

}  // namespace ksl
