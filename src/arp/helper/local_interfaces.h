// Which interface owns a local address, and what it needs to reach its neighbours. Kept until the kernel
// reports that anything about addresses or links has changed, so that asking costs one short system call.
//
// One object serves one thread at a time. Addresses are the four wire bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "platform/linux/net/netlink.h"

struct LocalInterface {
    std::uint32_t index = 0;
    bool resolvesAddresses = false;  // false: it reaches its neighbours without an entry
    std::size_t addressLength = 0;   // of a hardware address
};

class LocalInterfaces {
  public:
    // Nothing if no interface owns the address.
    std::optional<LocalInterface> Find(std::uint32_t local);

  private:
    std::optional<LocalInterface> Read(std::uint32_t local);

    std::unique_ptr<NetlinkSocket> notices_;
    std::unordered_map<std::uint32_t, LocalInterface> known_;
};
