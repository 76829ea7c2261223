// The kernel's neighbour table and what is needed to fill it, over netlink. Addresses are the four wire
// bytes.
//
// Failures are told as numbers of errno. One object serves one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "arp/helper/hardware_address.h"
#include "arp/helper/neighbour_policy.h"
#include "platform/linux/net/netlink.h"

// One place in the table.
struct NeighbourKey {
    std::uint32_t interfaceIndex = 0;
    std::uint32_t client = 0;

    bool operator==(const NeighbourKey&) const = default;
};

class NeighbourTable {
  public:
    enum class IfPresent { Fail, Replace };

    // Whether a datagram from `local` to the client leaves by the interface and straight to the client, so
    // that an entry there has an effect.
    bool IsOnLink(const NeighbourKey& key, std::uint32_t local);

    int Read(const NeighbourKey& key, std::optional<Neighbour>& neighbour);

    // A permanent entry with the mark of the helper. EEXIST if there is one of any kind and it isn't to be
    // replaced.
    int Enter(const NeighbourKey& key, const HardwareAddress& address, IfPresent ifPresent);
    int Remove(const NeighbourKey& key);

  private:
    int Exchange(NetlinkRequest& request, const NetlinkSocket::OnMessage& onMessage);
    int Open();

    std::unique_ptr<NetlinkSocket> netlink_;
};
