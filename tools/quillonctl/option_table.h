// The options that have a name of their own: RFC 2132, and the later ones that are in daily use.
#pragma once

#include <cstdint>

namespace quillonctl {

// How the bytes of an option's value are to be read.
enum class OptionType : std::uint8_t {
    Hex,           // any bytes
    Address,       // one address
    Addresses,     // one address or more
    AddressPairs,  // address and mask, or destination and router
    Boolean,       // one byte
    UInt8,
    UInt16,
    UInt16List,
    UInt32,
    Int32,
    Text,
    MessageType,
    Codes,  // one option code a byte
};

struct OptionRow {
    std::uint8_t code;
    const char* name;
    OptionType type;
};

// Null for a code without a name.
const OptionRow* FindOption(std::uint8_t code);

// "DHCPDISCOVER" and so on; null for a number without a name.
const char* MessageTypeName(std::uint8_t messageType);

}  // namespace quillonctl
