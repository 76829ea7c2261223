// What to do about a client's entry in the neighbour table: the decision alone, without its effect.
//
// An entry is the helper's own if it is permanent, has the helper's mark, and the kernel still has it as
// learned from outside. The mark alone is not enough: an administrator's tool that replaces the entry leaves
// the mark in place, but takes that flag away.
#pragma once

#include <cstdint>
#include <optional>

#include "arp/helper/hardware_address.h"

// An entry as the kernel has it.
struct Neighbour {
    HardwareAddress address;  // empty while it is being asked for
    std::uint16_t state = 0;  // NUD_...
    std::uint8_t origin = 0;  // who made it, as far as the maker said so: NDA_PROTOCOL
    bool isExternal = false;  // NTF_EXT_LEARNED: a program looks after it
};

// The mark in the entries that this helper makes.
inline constexpr std::uint8_t OriginOfHelper = 0x51;

// Whether this helper has made it, in this run or an earlier one, and it has not been replaced since.
bool IsOfHelper(const Neighbour& neighbour);

enum class NeighbourAction {
    Enter,       // make the entry, or put ours in place of what is there
    KeepOurs,    // ours stands there already, as it ought to be
    LeaveRight,  // the client can be reached as it is
    LeaveWrong   // an entry that was made to stay is there and sends to another hardware address
};

// `present` is what the kernel has. An entry that an administrator or another program made to stay is never
// touched, whether it was there first or has replaced ours.
NeighbourAction DecideEntry(const std::optional<Neighbour>& present, const HardwareAddress& wanted);
