// What to do about a client's entry in the neighbour table: the decision alone, without its effect.
#pragma once

#include <cstdint>
#include <optional>

#include "arp/helper/hardware_address.h"

// An entry as the kernel has it.
struct Neighbour {
    HardwareAddress address;  // empty while it is being asked for
    std::uint16_t state = 0;  // NUD_...
    std::uint8_t origin = 0;  // who made it, as far as the maker said so: NDA_PROTOCOL
    bool isExternal = false;  // learned by another program that looks after it
};

// The mark in the entries that this helper makes, by which it knows those that an earlier run has left.
inline constexpr std::uint8_t kOriginOfHelper = 0x51;

enum class NeighbourAction {
    Enter,       // make the entry, or put ours in place of what is there
    KeepOurs,    // ours stands there already, as it ought to be
    LeaveRight,  // the client can be reached as it is
    LeaveWrong   // somebody's own entry stands there and sends to another hardware address
};

// `present` is what the kernel has, `made` what this process has entered for the client and not removed yet.
// An entry that somebody else made to stay is never touched, also if it has taken the place of ours.
NeighbourAction DecideEntry(const std::optional<Neighbour>& present,
                            const std::optional<HardwareAddress>& made, const HardwareAddress& wanted);

// Whether what the kernel has is still what this process has entered.
bool IsStillOurs(const std::optional<Neighbour>& present, const HardwareAddress& made);
