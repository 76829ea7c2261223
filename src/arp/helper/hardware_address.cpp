#include "arp/helper/hardware_address.h"

#include <charconv>

namespace {

bool IsSeparator(char c) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isDigit = byte >= '0' && byte <= '9';
    const bool isLetter = (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z';
    return byte > ' ' && byte < 0x7F && !isDigit && !isLetter;
}

}  // namespace

std::optional<HardwareAddress> ParseHardwareAddress(std::string_view text) {
    HardwareAddress address;
    while (!text.empty()) {
        if (address.length != 0 && IsSeparator(text.front())) text.remove_prefix(1);
        if (text.size() < 2 || address.length == HardwareAddress::Longest) return std::nullopt;
        const char* end = text.data() + 2;
        const auto [stop, error] = std::from_chars(text.data(), end, address.bytes[address.length], 16);
        if (error != std::errc{} || stop != end) return std::nullopt;
        ++address.length;
        text.remove_prefix(2);
    }
    return address.length == 0 ? std::nullopt : std::optional(address);
}
