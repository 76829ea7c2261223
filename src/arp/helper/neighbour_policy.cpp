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

bool IsStillOurs(const std::optional<Neighbour>& present, const HardwareAddress& made) {
    return present && !present->isExternal && (present->state & NUD_PERMANENT) != 0 &&
           present->address == made;
}

NeighbourAction DecideEntry(const std::optional<Neighbour>& present,
                            const std::optional<HardwareAddress>& made, const HardwareAddress& wanted) {
    if (!present) return NeighbourAction::Enter;
    const bool isRight = present->address == wanted;
    if (!IsMadeToStay(*present)) {
        return isRight && IsUsable(*present) ? NeighbourAction::LeaveRight : NeighbourAction::Enter;
    }
    if (made && IsStillOurs(present, *made)) {
        return isRight ? NeighbourAction::KeepOurs : NeighbourAction::Enter;
    }
    const bool isOfEarlierRun =
        !made && present->origin == kOriginOfHelper && IsStillOurs(present, present->address);
    if (isOfEarlierRun) return NeighbourAction::Enter;
    return isRight ? NeighbourAction::LeaveRight : NeighbourAction::LeaveWrong;
}
