#include "database/load/pseudo_tags.h"

#include "database/boot_file.h"
#include "database/load/value_reading.h"

namespace {

// A non-zero value flips the bit, so a second one clears it again; zero clears it.
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

}  // namespace

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
