#include "arp/helper/local_interfaces.h"

#include <net/if.h>

#include <vector>

#include "platform/linux/net/interface_table.h"

std::optional<LocalInterface> LocalInterfaces::Read(std::uint32_t local) {
    std::vector<AddressRow> addresses;
    if (ReadAddressTable(addresses) != 0) return std::nullopt;
    const AddressRow* row = FindAddress(addresses, local);
    if (row == nullptr) return std::nullopt;
    const auto netlink = NetlinkSocket::Open();
    LinkFacts link;
    if (netlink == nullptr || ReadLink(*netlink, row->interfaceIndex, link) != 0) return std::nullopt;
    return LocalInterface{.index = row->interfaceIndex,
                          .resolvesAddresses = (link.flags & (IFF_LOOPBACK | IFF_NOARP)) == 0,
                          .addressLength = link.addressLength};
}

std::optional<LocalInterface> LocalInterfaces::Find(std::uint32_t local) {
    if (notices_ == nullptr) {
        notices_ = NetlinkSocket::Open(RTMGRP_LINK | RTMGRP_IPV4_IFADDR);
        // Without notices nothing that was read can be trusted to last.
        if (notices_ == nullptr) return Read(local);
    }
    if (notices_->Discard()) known_.clear();
    if (const auto found = known_.find(local); found != known_.end()) return found->second;
    const auto found = Read(local);
    if (found) known_.emplace(local, *found);
    return found;
}
