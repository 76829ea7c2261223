#include "request/address_list.h"

#include <charconv>
#include <cstring>
#include <optional>
#include <string>

#include "request/interfaces.h"

namespace {

constexpr std::uint8_t LoopbackNet = 127;
constexpr std::string_view Local = "local";

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

bool IsLocal(IpAddress address) {
    if (address.bytes[0] == LoopbackNet) return true;
    IpAddress table[MaxLocalAddresses];
    DWORD count = 0;
    if (!EnumerateLocalAddresses(&count, table)) return false;
    for (DWORD i = 0; i < count; ++i)
        if (table[i] == address) return true;
    return false;
}

std::uint32_t HostOrder(IpAddress address) {
    std::uint32_t raw;
    std::memcpy(&raw, address.bytes, sizeof raw);
    return ntohl(raw);
}

// -1 for a text that is no length.
int PrefixLength(std::string_view text) {
    int length = -1;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), length);
    return read.ec == std::errc{} && read.ptr == text.data() + text.size() && length <= 32 ? length : -1;
}

struct Net {
    std::uint32_t address;
    int length;
};

std::optional<Net> ReadNet(std::string_view piece) {
    const std::size_t slash = piece.find('/');
    const int length = slash == std::string_view::npos ? 32 : PrefixLength(piece.substr(slash + 1));
    const auto net = inet_addr(std::string(piece.substr(0, slash)).c_str());
    if (net == INADDR_NONE || length < 0) return std::nullopt;
    return Net{ntohl(static_cast<std::uint32_t>(net)), length};
}

bool Matches(std::string_view piece, IpAddress address) {
    if (piece == Local) return IsLocal(address);
    const auto net = ReadNet(piece);
    return net && (net->length == 0 || (HostOrder(address) ^ net->address) >> (32 - net->length) == 0);
}

}  // namespace

bool IsAddressListPiece(std::string_view piece) {
    return piece == Local || ReadNet(piece);
}

bool IsListed(const char* list, IpAddress address) {
    std::string_view rest(list);
    for (;;) {
        const std::size_t comma = rest.find(',');
        if (Matches(Trimmed(rest.substr(0, comma)), address)) return true;
        if (comma == std::string_view::npos) return false;
        rest.remove_prefix(comma + 1);
    }
}
