// The kernel's neighbour table and what is needed to fill it, over netlink. Addresses are the four wire
// bytes.
//
// Failures are returned as numbers of errno. One object serves one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "arp/helper/hardware_address.h"
#include "arp/helper/neighbour_policy.h"
#include "platform/linux/net/netlink.h"

// One place in the table.
struct NeighbourKey {
    std::uint32_t interfaceIndex = 0;
    std::uint32_t client = 0;

    bool operator==(const NeighbourKey&) const = default;
};

// What a message of RTM_NEWNEIGH or RTM_DELNEIGH says, with its place; nothing if it is no IPv4 neighbour.
struct NeighbourRow {
    NeighbourKey key;
    Neighbour neighbour;
};
std::optional<NeighbourRow> ParseNeighbourRow(const nlmsghdr& message);

class NeighbourTable {
  public:
    enum class IfPresent { Fail, Replace };

    // Whether a datagram from `local` to the client leaves by the interface and straight to the client, so
    // that an entry there has an effect.
    bool IsOnLink(const NeighbourKey& key, std::uint32_t local);

    int Read(const NeighbourKey& key, std::optional<Neighbour>& neighbour);

    // The places at which an entry of the helper stands, of whichever run.
    int FindOwn(std::vector<NeighbourKey>& keys);

    // An entry that IsOfHelper. EEXIST if there is one of any kind and it isn't to be replaced.
    int Enter(const NeighbourKey& key, const HardwareAddress& address, IfPresent ifPresent);
    int Remove(const NeighbourKey& key);

  private:
    int ReadOwn(std::vector<NeighbourKey>& keys);
    int Exchange(NetlinkRequest& request, const NetlinkSocket::OnMessage& onMessage);
    int Open();

    std::unique_ptr<NetlinkSocket> netlink_;
};
