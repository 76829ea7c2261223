#include "database/pseudo_tags.h"

#include <cstring>
#include <optional>

#include "database/boot_file.h"
#include "database/decimal_number.h"

namespace {

// A non-zero value turns the bit over, so a second one clears it again; zero clears it.
bool ApplyFlag(BYTE bit, BootPacket* packet, const char* value) {
    const auto number = ReadDecimal(value);
    if (!number) return false;
    packet->op = static_cast<BYTE>(*number != 0 ? packet->op ^ bit : packet->op & ~bit);
    return true;
}

bool StoreLowByte(BYTE* field, const char* value) {
    const auto number = ReadDecimal(value);
    if (number) *field = static_cast<BYTE>(*number);
    return number.has_value();
}

bool ApplyMediaAddress(BootPacket* packet, const char* value) {
    if (!StoreMediaText(packet, value)) return false;
    packet->op ^= ArpMac;
    return true;
}

// Four decimal numbers as everybody writes them; nothing for any other form that `inet_addr` may know.
std::optional<IpAddress> ReadPlainAddress(const char* text) {
    IpAddress address;
    for (BYTE& byte : address.bytes) {
        if (&byte != address.bytes && *text++ != '.') return std::nullopt;
        const char* const start = text;
        unsigned number = 0;
        while (*text >= '0' && *text <= '9' && text - start < 3)
            number = number * 10 + static_cast<unsigned>(*text++ - '0');
        const bool hasLeadingZero = *start == '0' && text - start > 1;
        if (text == start || hasLeadingZero || number > 255) return std::nullopt;
        byte = static_cast<BYTE>(number);
    }
    if (*text != '\0') return std::nullopt;
    return address;
}

}  // namespace

IpAddress ReadAddress(const char* text) {
    if (const auto plain = ReadPlainAddress(text)) return *plain;
    const DWORD wire = inet_addr(text);
    IpAddress address;
    static_assert(sizeof(address) == sizeof(wire));
    std::memcpy(&address, &wire, sizeof(address));
    return address;
}

bool ApplyPseudoTag(LONG tag, BootPacket* packet, const char* value) {
    switch (tag) {
        case BootFileTag:
            return StoreBootFile(packet, value);
        case AddressTag:
            packet->yiaddr = ReadAddress(value);
            return true;
        case HardwareLengthTag:
            return StoreLowByte(&packet->hlen, value);
        case HardwareTypeTag:
            return StoreLowByte(&packet->htype, value);
        case CookieTag:
            packet->cookie = ReadAddress(value);
            return true;
        case FileAliasTag:
            return ApplyFlag(FileAlias, packet, value);
        case AlwaysBroadcastTag:
            return ApplyFlag(AlwaysBroadcast, packet, value);
        case NoBroadcastTag:
            return ApplyFlag(NoBroadcast, packet, value);
        case IgnoreClientVendorTag:
            return ApplyFlag(IgnoreClientVendor, packet, value);
        case ArpMacTag:
            return ApplyMediaAddress(packet, value);
        default:
            return true;
    }
}
