#include "arp/helper/neighbour_table.h"

#include <linux/neighbour.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

void IgnoreMessage(const nlmsghdr&) {}

ndmsg* AddKey(NetlinkRequest& request, const NeighbourKey& key) {
    auto* fixed = request.Add<ndmsg>();
    fixed->ndm_family = AF_INET;
    fixed->ndm_ifindex = static_cast<int>(key.interfaceIndex);
    request.AddAttribute(NDA_DST, &key.client, sizeof key.client);
    return fixed;
}

}  // namespace

std::optional<NeighbourRow> ParseNeighbourRow(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWNEIGH && message.nlmsg_type != RTM_DELNEIGH) return std::nullopt;
    if (mnl_nlmsg_get_payload_len(&message) < sizeof(ndmsg)) return std::nullopt;
    const auto* fixed = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(&message));
    const auto attributes = ParseAttributes<NDA_PROTOCOL>(message, sizeof(ndmsg));
    if (fixed->ndm_family != AF_INET || attributes[NDA_DST] == nullptr) return std::nullopt;
    NeighbourRow row;
    row.key = {.interfaceIndex = static_cast<std::uint32_t>(fixed->ndm_ifindex),
               .client = AttributeWord(attributes[NDA_DST])};
    Neighbour& neighbour = row.neighbour;
    neighbour.state = fixed->ndm_state;
    neighbour.isExternal = (fixed->ndm_flags & NTF_EXT_LEARNED) != 0;
    if (const nlattr* address = attributes[NDA_LLADDR]; address != nullptr) {
        const std::size_t length =
            std::min<std::size_t>(mnl_attr_get_payload_len(address), HardwareAddress::Longest);
        std::memcpy(neighbour.address.bytes.data(), mnl_attr_get_payload(address), length);
        neighbour.address.length = length;
    }
    if (const nlattr* origin = attributes[NDA_PROTOCOL];
        origin != nullptr && mnl_attr_get_payload_len(origin) >= 1) {
        neighbour.origin = mnl_attr_get_u8(origin);
    }
    return row;
}

int NeighbourTable::Open() {
    if (netlink_ == nullptr || !netlink_->IsUsable()) netlink_ = NetlinkSocket::Open();
    return netlink_ == nullptr ? errno : 0;
}

int NeighbourTable::Exchange(NetlinkRequest& request, const NetlinkSocket::OnMessage& onMessage) {
    if (const int error = Open(); error != 0) return error;
    return netlink_->Exchange(request.Header(), onMessage);
}

bool NeighbourTable::IsOnLink(const NeighbourKey& key, std::uint32_t local) {
    NetlinkRequest request(RTM_GETROUTE);
    auto* fixed = request.Add<rtmsg>();
    fixed->rtm_family = AF_INET;
    fixed->rtm_dst_len = 32;
    fixed->rtm_src_len = 32;
    request.AddAttribute(RTA_DST, &key.client, sizeof key.client);
    request.AddAttribute(RTA_SRC, &local, sizeof local);
    bool isOnLink = false;
    const int error = Exchange(request, [&](const nlmsghdr& message) {
        if (message.nlmsg_type != RTM_NEWROUTE || mnl_nlmsg_get_payload_len(&message) < sizeof(rtmsg)) return;
        const auto attributes = ParseAttributes<RTA_VIA>(message, sizeof(rtmsg));
        isOnLink = static_cast<const rtmsg*>(mnl_nlmsg_get_payload(&message))->rtm_type == RTN_UNICAST &&
                   attributes[RTA_GATEWAY] == nullptr && attributes[RTA_VIA] == nullptr &&
                   AttributeWord(attributes[RTA_OIF]) == key.interfaceIndex;
    });
    return error == 0 && isOnLink;
}

int NeighbourTable::Read(const NeighbourKey& key, std::optional<Neighbour>& neighbour) {
    NetlinkRequest request(RTM_GETNEIGH);
    AddKey(request, key);
    neighbour.reset();
    const int error = Exchange(request, [&neighbour](const nlmsghdr& message) {
        if (const auto row = ParseNeighbourRow(message)) neighbour = row->neighbour;
    });
    return error == ENOENT ? 0 : error;
}

int NeighbourTable::ReadOwn(std::vector<NeighbourKey>& keys) {
    keys.clear();
    NetlinkRequest request(RTM_GETNEIGH, NLM_F_DUMP);
    request.Add<ndmsg>()->ndm_family = AF_INET;
    return Exchange(request, [&keys](const nlmsghdr& message) {
        const auto row = ParseNeighbourRow(message);
        if (row && IsOfHelper(row->neighbour)) keys.push_back(row->key);
    });
}

int NeighbourTable::FindOwn(std::vector<NeighbourKey>& keys) {
    // The kernel ends a dump with EINTR if the table changed meanwhile.
    constexpr int Attempts = 16;
    int error = EINTR;
    for (int attempt = 0; attempt < Attempts && error == EINTR; ++attempt)
        error = ReadOwn(keys);
    return error;
}

int NeighbourTable::Enter(const NeighbourKey& key, const HardwareAddress& address, IfPresent ifPresent) {
    const std::uint16_t mode = ifPresent == IfPresent::Replace ? NLM_F_REPLACE : NLM_F_EXCL;
    NetlinkRequest request(RTM_NEWNEIGH, static_cast<std::uint16_t>(NLM_F_ACK | NLM_F_CREATE | mode));
    auto* fixed = AddKey(request, key);
    fixed->ndm_state = NUD_PERMANENT;
    fixed->ndm_flags = NTF_EXT_LEARNED;
    request.AddAttribute(NDA_LLADDR, address.bytes.data(), address.length);
    request.AddAttribute(NDA_PROTOCOL, &OriginOfHelper, sizeof OriginOfHelper);
    return Exchange(request, IgnoreMessage);
}

int NeighbourTable::Remove(const NeighbourKey& key) {
    NetlinkRequest request(RTM_DELNEIGH, NLM_F_ACK);
    AddKey(request, key);
    return Exchange(request, IgnoreMessage);
}
