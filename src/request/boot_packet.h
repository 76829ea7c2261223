// The BOOTP message as it is on the wire (RFC 951, vendor area of RFC 1048), and the text form of hardware
// addresses.
#pragma once

#include <cstddef>
#include <cstdint>

// An IPv4 address as its four wire bytes; never swapped.
struct IpAddress {
    std::uint8_t bytes[4];

    bool operator==(const IpAddress&) const = default;
};

// The fixed part of a message. It stands at the head of a larger, zero-filled block: the options follow it up
// to the end of the packet, which every reader is given. All fields are bytes, so any address will do
// for it.
struct BootPacket {
    std::uint8_t op;  // 1 request, 2 reply; between lookup and delivery the client's flag bits
    std::uint8_t htype;
    std::uint8_t hlen;
    std::uint8_t hops;
    std::uint8_t xid[4];
    std::uint8_t secs[2];
    std::uint8_t flags[2];  // RFC 1542: the top bit alone asks for a broadcast
    IpAddress ciaddr;
    IpAddress yiaddr;
    IpAddress siaddr;
    IpAddress giaddr;
    std::uint8_t chaddr[16];
    char sname[64];
    char file[128];
    IpAddress cookie;
};
static_assert(sizeof(BootPacket) == 240 && alignof(BootPacket) == 1);

inline constexpr std::uint8_t BootRequestOpcode = 1;
inline constexpr std::uint8_t BootReplyOpcode = 2;

// Per-client flag bits, in `op` of an entry's image.
inline constexpr std::uint8_t ArpMac = 0x08;              // the entry has a media address of its own for ARP
inline constexpr std::uint8_t IgnoreClientVendor = 0x10;  // the client's option list counts as empty
inline constexpr std::uint8_t NoBroadcast = 0x20;         // directed, whatever the client asks for
inline constexpr std::uint8_t AlwaysBroadcast = 0x40;     // broadcast, and no ARP entry
inline constexpr std::uint8_t FileAlias = 0x80;  // the client's file name is looked up among the aliases

// Option tags that mean something to the service itself (RFC 2132).
inline constexpr std::uint8_t TagPad = 0;
inline constexpr std::uint8_t TagSubnetMask = 1;
inline constexpr std::uint8_t TagRequestedAddress = 50;
inline constexpr std::uint8_t TagMessageType = 53;
inline constexpr std::uint8_t TagServerIdentifier = 54;
inline constexpr std::uint8_t TagParameterList = 55;
inline constexpr std::uint8_t TagEnd = 255;

// The first byte after the cookie. There may be none: the packet's length decides.
inline std::uint8_t* Options(BootPacket* packet) {
    return reinterpret_cast<std::uint8_t*>(packet) + sizeof(BootPacket);
}
inline const std::uint8_t* Options(const BootPacket* packet) {
    return reinterpret_cast<const std::uint8_t*>(packet) + sizeof(BootPacket);
}

inline constexpr int HardwareAddressSize = 16;

// The largest text form with its NUL: sixteen pairs of digits with fifteen hyphens between them.
inline constexpr std::size_t HardwareTextSize = 48;

// Both directions between bytes and the text form 00-a0-c9-11-22-33; returns the number of bytes converted,
// 16 at most.
//
// `count` >= 0: that many bytes become text; `text` has room for HardwareTextSize bytes and is first cleared
// up to its first NUL. `count` < 0: `text` is parsed into `bytes`, which have room for 16; the byte between
// two groups may be any, and a group that isn't two digits shifts what follows.
std::uint8_t ConvertHardwareAddress(std::uint8_t* bytes, char* text, int count);

// The text form of the packet's chaddr over its hlen bytes; `text` has room for HardwareTextSize bytes.
void HardwareAddressText(const BootPacket& packet, char* text);

// "%d.%d.%d.%d" of the four bytes.
inline constexpr std::size_t AddressTextSize = 16;
void FormatAddress(IpAddress address, char (&text)[AddressTextSize]);
