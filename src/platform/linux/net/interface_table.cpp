#include "platform/linux/net/interface_table.h"

#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace {

constexpr std::uint32_t LimitedBroadcast = 0xFFFFFFFF;

std::uint32_t MaskOf(unsigned prefixLength) {
    return prefixLength == 0 ? 0 : htonl(0xFFFFFFFFu << (32 - std::min(prefixLength, 32u)));
}

// The kernel takes a datagram to the last address of a subnet as a broadcast whether or not a broadcast
// address was configured, so that one counts if none was.
std::uint32_t BroadcastOf(const AddressRow& row, unsigned prefixLength, std::uint32_t configured) {
    if (configured != 0 && configured != LimitedBroadcast) return configured;
    return prefixLength == 0 || prefixLength > 30 ? 0 : row.address | ~row.mask;
}

}  // namespace

std::optional<AddressRow> ParseAddressRow(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWADDR && message.nlmsg_type != RTM_DELADDR) return std::nullopt;
    if (mnl_nlmsg_get_payload_len(&message) < sizeof(ifaddrmsg)) return std::nullopt;
    const auto* fixed = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(&message));
    if (fixed->ifa_family != AF_INET) return std::nullopt;

    const auto attributes = ParseAttributes<IFA_MAX>(message, sizeof(ifaddrmsg));
    // On a point-to-point link IFA_ADDRESS is the peer's.
    const nlattr* address =
        attributes[IFA_LOCAL] != nullptr ? attributes[IFA_LOCAL] : attributes[IFA_ADDRESS];
    if (address == nullptr) return std::nullopt;
    AddressRow row;
    row.address = AttributeWord(address);
    row.mask = MaskOf(fixed->ifa_prefixlen);
    row.broadcast = BroadcastOf(row, fixed->ifa_prefixlen, AttributeWord(attributes[IFA_BROADCAST]));
    row.interfaceIndex = fixed->ifa_index;
    row.secondary = (fixed->ifa_flags & IFA_F_SECONDARY) != 0;
    return row;
}

int ReadAddressTable(std::vector<AddressRow>& table) {
    // The kernel ends a dump with EINTR if the table changed meanwhile; a table that never rests is returned
    // as that.
    constexpr int Attempts = 16;
    int error = EINTR;
    for (int attempt = 0; attempt < Attempts && error == EINTR; ++attempt) {
        const auto netlink = NetlinkSocket::Open();
        if (netlink == nullptr) return errno;
        table.clear();
        NetlinkRequest request(RTM_GETADDR, NLM_F_DUMP);
        request.Add<ifaddrmsg>()->ifa_family = AF_INET;
        error = netlink->Exchange(request.Header(), [&table](const nlmsghdr& message) {
            if (const auto row = ParseAddressRow(message)) table.push_back(*row);
        });
    }
    return error;
}

const AddressRow* FindAddress(const std::vector<AddressRow>& table, std::uint32_t address) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [address](const AddressRow& row) { return row.address == address; });
    return found == table.end() ? nullptr : &*found;
}

std::optional<LinkFacts> ParseLink(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWLINK || mnl_nlmsg_get_payload_len(&message) < sizeof(ifinfomsg))
        return std::nullopt;
    const auto attributes = ParseAttributes<IFLA_ADDRESS>(message, sizeof(ifinfomsg));
    LinkFacts link;
    link.flags = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&message))->ifi_flags;
    if (attributes[IFLA_ADDRESS] != nullptr)
        link.addressLength = mnl_attr_get_payload_len(attributes[IFLA_ADDRESS]);
    return link;
}

int ReadLink(NetlinkSocket& netlink, std::uint32_t interfaceIndex, LinkFacts& link) {
    NetlinkRequest request(RTM_GETLINK);
    auto* fixed = request.Add<ifinfomsg>();
    fixed->ifi_family = AF_UNSPEC;
    fixed->ifi_index = static_cast<int>(interfaceIndex);
    return netlink.Exchange(request.Header(), [&link](const nlmsghdr& message) {
        if (const auto found = ParseLink(message)) link = *found;
    });
}
