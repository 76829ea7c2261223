// Takes a BOOTP or DHCP message apart. Reads nothing outside the bytes it is given, whatever they hold.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "request/boot_packet.h"

namespace quillonctl {

using Bytes = std::span<const std::uint8_t>;

struct DecodedOption {
    std::uint8_t code = 0;
    const char* name = nullptr;  // null for a code without one
    std::vector<std::uint8_t> data;

    // What the bytes say, read by the option's type: a list has any number of values, anything else one.
    std::vector<std::string> values;
    bool isList = false;
    bool isNumeric = false;  // the values are decimal numbers
    std::string remark;      // the name of a message type, or what is wrong with the value
};

// How the option list ended.
enum class ListEnd : std::uint8_t {
    EndMark,   // with tag 255
    Missing,   // at the end of the message, between two options
    CutShort,  // in the middle of an option
    NoCookie,  // the vendor area isn't an option list: its cookie is another one, or isn't there
};

struct DecodedMessage {
    BootPacket header{};     // zero where the message is too short for it
    std::size_t length = 0;  // of the whole message
    std::vector<DecodedOption> options;
    ListEnd end = ListEnd::NoCookie;
};

DecodedMessage DecodeMessage(Bytes message);

// "10.0.0.1".
std::string AddressText(const IpAddress& address);

// "00-a0-c9-11-22-33", the first `count` bytes of `chaddr`, sixteen at most.
std::string HardwareText(const BootPacket& header, std::size_t count);

// Two lower-case digits a byte.
std::string HexText(Bytes bytes);

// The characters of a fixed field up to its NUL, or all of it if there is none.
std::string FieldText(const char* field, std::size_t size);

}  // namespace quillonctl
