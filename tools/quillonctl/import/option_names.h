// The options of RFC 2132 and later ones, with the name that each gets in bootptab, how its value is written
// there, and the names that other servers have for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillonctl {

// What an option's value consists of.
enum class Shape : std::uint8_t {
    Address,
    Addresses,  // one or more, or pairs of them
    Text,
    Flag,     // on or off
    Bytes,    // numbers of one byte
    Numbers,  // numbers of two bytes
    Longs,    // numbers of four bytes
    Seconds,
    Octets,   // any bytes
    Domains,  // domain names as they stand in a DNS message
    Routes    // destinations with the length of their masks, each with a router
};

struct KnownOption {
    int tag;
    const char* name;  // in bootptab
    Shape shape;
    const char* aliases;  // elsewhere, with blanks between them
};

// Tags that aren't options: fields of the reply, and the way it travels.
inline constexpr int BootFileTag = -1;
inline constexpr int AddressTag = -2;
inline constexpr int HardwareTypeTag = -4;
inline constexpr int BroadcastTag = -8;
inline constexpr int TemplateTag = -1000;

inline constexpr int SubnetMaskTag = 1;
inline constexpr int GatewayTag = 3;
inline constexpr int NameServerTag = 6;
inline constexpr int HostNameTag = 12;
inline constexpr int DomainTag = 15;
inline constexpr int BroadcastAddressTag = 28;
inline constexpr int LeaseTimeTag = 51;

// Null for a tag or a name without a row. Names compare without case; blanks and underscores in them count as
// hyphens.
const KnownOption* FindKnownOption(int tag);
const KnownOption* FindKnownOption(std::string_view name);

// Why bootptab can't set this option: each reply has it from the server or from the client. Null if it can.
const char* SetByServer(int tag);

// The type word of bootptab for a shape.
const char* TypeWord(Shape shape);

}  // namespace quillonctl
