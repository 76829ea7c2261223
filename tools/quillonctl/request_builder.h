// Builds the request of a BOOTP or DHCP client, or of the relay agent that passes it on.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "request/boot_packet.h"

namespace quillonctl {

struct RequestSettings {
    std::vector<std::uint8_t> hardwareAddress;  // sixteen bytes at most
    std::uint8_t hlen = 6;                      // need not be the number of bytes above
    std::uint8_t htype = 1;
    std::uint32_t xid = 0;
    std::uint16_t secs = 0;
    bool broadcast = false;  // the flag that asks for a broadcast reply
    IpAddress ciaddr{};
    IpAddress giaddr{};
    std::string sname;
    std::string file;
    std::optional<std::uint8_t> messageType;  // none makes a plain BOOTP request
    std::optional<IpAddress> requestedAddress;
    std::optional<IpAddress> serverIdentifier;
    std::vector<std::uint8_t> parameterList;
    std::size_t length =
        0;  // of the datagram; 0 takes the 300 bytes of RFC 951, or more if the options need them
};

// The largest payload of a UDP datagram.
inline constexpr std::size_t LargestDatagram = 65507;

// The request as bytes. A length that cuts the fixed part of a request without options is obeyed; settings
// that can't be put into a request give nothing, with the reason in `error`.
std::optional<std::vector<std::uint8_t>> BuildRequest(const RequestSettings& settings, std::string& error);

// "00-a0-c9-11-22-33", with hyphens, colons, dots or nothing between the pairs: one to sixteen bytes.
std::optional<std::vector<std::uint8_t>> ParseHardwareAddress(const std::string& text);

std::optional<IpAddress> ParseAddress(const std::string& text);

// "1,3,6": up to 255 option codes.
std::optional<std::vector<std::uint8_t>> ParseCodes(const std::string& text);

// "discover", "request" and so on; nothing for another word.
std::optional<std::uint8_t> ParseMessageType(const std::string& text);

}  // namespace quillonctl
