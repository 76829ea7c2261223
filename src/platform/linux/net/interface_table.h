// The machine's IPv4 addresses and the interfaces that own them, as the kernel reports them. Within the layer
// and the ARP helper. Addresses are the four wire bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/net/netlink.h"

struct AddressRow {
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
    std::uint32_t broadcast = 0;  // of the subnet; 0 if it has none (prefixes of 31 and 32 bits)
    std::uint32_t interfaceIndex = 0;
    bool secondary = false;

    bool operator==(const AddressRow&) const = default;
};

// One row per address, in the kernel's order. 0, or a number of errno.
int ReadAddressTable(std::vector<AddressRow>& table);

// The row of the address, the first one if several interfaces have it; null if none has.
const AddressRow* FindAddress(const std::vector<AddressRow>& table, std::uint32_t address);

// The row that a message of RTM_NEWADDR or RTM_DELADDR speaks of; nothing if it is no IPv4 address.
std::optional<AddressRow> ParseAddressRow(const nlmsghdr& message);

struct LinkFacts {
    unsigned flags = 0;          // IFF_...
    unsigned addressLength = 0;  // of its hardware address, in bytes
};

// What a message of RTM_NEWLINK says; nothing if it is another.
std::optional<LinkFacts> ParseLink(const nlmsghdr& message);

// 0, or a number of errno.
int ReadLink(NetlinkSocket& netlink, std::uint32_t interfaceIndex, LinkFacts& link);
