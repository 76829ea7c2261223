#include "quillonctl/request_builder.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace quillonctl {
namespace {

constexpr std::size_t UsualLength = 300;

int HexDigit(char digit) {
    int value = -1;
    const auto result = std::from_chars(&digit, &digit + 1, value, 16);
    return result.ec == std::errc() ? value : -1;
}

bool CopyText(const std::string& text, char* field, std::size_t size) {
    if (text.size() >= size) return false;
    std::memcpy(field, text.data(), text.size());
    return true;
}

void AppendOption(std::vector<std::uint8_t>& list, std::uint8_t code, const std::uint8_t* value,
                  std::size_t size) {
    list.push_back(code);
    list.push_back(static_cast<std::uint8_t>(size));
    list.insert(list.end(), value, value + size);
}

std::vector<std::uint8_t> BuildOptions(const RequestSettings& settings) {
    std::vector<std::uint8_t> list;
    if (settings.messageType) AppendOption(list, TagMessageType, &*settings.messageType, 1);
    if (settings.requestedAddress)
        AppendOption(list, TagRequestedAddress, settings.requestedAddress->bytes, 4);
    if (settings.serverIdentifier)
        AppendOption(list, TagServerIdentifier, settings.serverIdentifier->bytes, 4);
    if (!settings.parameterList.empty())
        AppendOption(list, TagParameterList, settings.parameterList.data(), settings.parameterList.size());
    list.push_back(TagEnd);
    return list;
}

BootPacket BuildHeader(const RequestSettings& settings) {
    BootPacket header{};
    header.op = BootRequestOpcode;
    header.htype = settings.htype;
    header.hlen = settings.hlen;
    header.hops = settings.giaddr == IpAddress{} ? 0 : 1;
    const std::uint32_t xid = htonl(settings.xid);
    std::memcpy(header.xid, &xid, sizeof xid);
    const std::uint16_t secs = htons(settings.secs);
    std::memcpy(header.secs, &secs, sizeof secs);
    if (settings.broadcast) header.flags[0] = 0x80;
    header.ciaddr = settings.ciaddr;
    header.giaddr = settings.giaddr;
    std::memcpy(header.chaddr, settings.hardwareAddress.data(),
                std::min(settings.hardwareAddress.size(), sizeof header.chaddr));
    header.cookie = {{99, 130, 83, 99}};
    return header;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> BuildRequest(const RequestSettings& settings, std::string& error) {
    BootPacket header = BuildHeader(settings);
    if (!CopyText(settings.sname, header.sname, sizeof header.sname)) {
        error = "the server name is longer than 63 characters";
        return std::nullopt;
    }
    if (!CopyText(settings.file, header.file, sizeof header.file)) {
        error = "the file name is longer than 127 characters";
        return std::nullopt;
    }
    const std::vector<std::uint8_t> options = BuildOptions(settings);
    const std::size_t needed = sizeof header + options.size();
    const std::size_t length = settings.length != 0 ? settings.length : std::max(UsualLength, needed);
    const bool hasOptions = options.size() > 1;
    if (length > LargestDatagram || (hasOptions && length < needed)) {
        error = "a length of " + std::to_string(length) + " doesn't do: the options need " +
                std::to_string(needed) + " bytes, and a datagram holds " + std::to_string(LargestDatagram);
        return std::nullopt;
    }
    std::vector<std::uint8_t> request(std::max(length, needed));
    std::memcpy(request.data(), &header, sizeof header);
    std::ranges::copy(options, request.begin() + sizeof header);
    request.resize(length);
    return request;
}

std::optional<std::vector<std::uint8_t>> ParseHardwareAddress(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    std::size_t at = 0;
    while (at + 1 < text.size()) {
        const int high = HexDigit(text[at]);
        const int low = HexDigit(text[at + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        at += 2;
        // A separator has to have another pair after it.
        if (at + 2 < text.size() && std::strchr("-:.", text[at]) != nullptr) ++at;
    }
    if (at != text.size() || bytes.empty() || bytes.size() > HardwareAddressSize) return std::nullopt;
    return bytes;
}

std::optional<IpAddress> ParseAddress(const std::string& text) {
    IpAddress address;
    if (::inet_pton(AF_INET, text.c_str(), address.bytes) != 1) return std::nullopt;
    return address;
}

std::optional<std::vector<std::uint8_t>> ParseCodes(const std::string& text) {
    std::vector<std::uint8_t> codes;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;;) {
        std::uint8_t code = 0;
        const auto result = std::from_chars(at, end, code);
        if (result.ec != std::errc() || codes.size() == 255) return std::nullopt;
        codes.push_back(code);
        if (result.ptr == end) return codes;
        if (*result.ptr != ',') return std::nullopt;
        at = result.ptr + 1;
    }
}

std::optional<std::uint8_t> ParseMessageType(const std::string& text) {
    static constexpr struct {
        const char* word;
        std::uint8_t type;
    } Types[] = {{"discover", 1}, {"request", 3}, {"decline", 4}, {"release", 7}, {"inform", 8}};
    for (const auto& row : Types)
        if (text == row.word) return row.type;
    return std::nullopt;
}

}  // namespace quillonctl
