#include "arp/helper/neighbour_policy.h"

#include <linux/neighbour.h>

namespace {

bool IsMadeToStay(const Neighbour& neighbour) {
    return neighbour.isExternal || (neighbour.state & (NUD_PERMANENT | NUD_NOARP)) != 0;
}

// The next datagram leaves at once. An entry under probe may fail before that.
bool IsUsable(const Neighbour& neighbour) {
    return (neighbour.state & (NUD_REACHABLE | NUD_STALE | NUD_DELAY)) != 0;
}

}  // namespace

bool IsOfHelper(const Neighbour& neighbour) {
    return neighbour.isExternal && neighbour.origin == OriginOfHelper &&
           (neighbour.state & NUD_PERMANENT) != 0;
}

NeighbourAction DecideEntry(const std::optional<Neighbour>& present, const HardwareAddress& wanted) {
    if (!present) return NeighbourAction::Enter;
    const bool isRight = present->address == wanted;
    if (IsOfHelper(*present)) return isRight ? NeighbourAction::KeepOurs : NeighbourAction::Enter;
    if (IsMadeToStay(*present)) return isRight ? NeighbourAction::LeaveRight : NeighbourAction::LeaveWrong;
    return isRight && IsUsable(*present) ? NeighbourAction::LeaveRight : NeighbourAction::Enter;
}
