#include "request/boot_packet.h"

#include <charconv>
#include <cstring>

namespace {

int DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

// A pair counts up to its first character that is no digit, as a text that breaks off does: "0-" is 0.
std::uint8_t PairValue(char first, char second) {
    const int high = DigitValue(first);
    if (high < 0) return 0;
    const int low = DigitValue(second);
    return static_cast<std::uint8_t>(low < 0 ? high : high * 16 + low);
}

std::uint8_t BytesToText(const std::uint8_t* bytes, char* text, int count) {
    static constexpr char Digits[] = "0123456789abcdef";
    std::memset(text, 0, std::strlen(text));
    const int converted = count < HardwareAddressSize ? count : HardwareAddressSize;
    for (int i = 0; i < converted; ++i) {
        if (i != 0) *text++ = '-';
        *text++ = Digits[bytes[i] >> 4];
        *text++ = Digits[bytes[i] & 15];
    }
    *text = '\0';
    return static_cast<std::uint8_t>(converted);
}

std::uint8_t TextToBytes(const char* text, std::uint8_t* bytes) {
    std::uint8_t converted = 0;
    while (*text != '\0') {
        bytes[converted++] = PairValue(text[0], text[1]);
        if (converted == HardwareAddressSize || text[1] == '\0' || text[2] == '\0') break;
        text += 3;
    }
    return converted;
}

}  // namespace

std::uint8_t ConvertHardwareAddress(std::uint8_t* bytes, char* text, int count) {
    return count < 0 ? TextToBytes(text, bytes) : BytesToText(bytes, text, count);
}

void HardwareAddressText(const BootPacket& packet, char* text) {
    *text = '\0';
    BytesToText(packet.chaddr, text, packet.hlen);
}

void FormatAddress(IpAddress address, char (&text)[AddressTextSize]) {
    char* at = text;
    for (const std::uint8_t byte : address.bytes) {
        at = std::to_chars(at, text + sizeof text, byte).ptr;
        *at++ = '.';
    }
    at[-1] = '\0';
}
