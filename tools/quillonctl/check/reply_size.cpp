#include "quillonctl/check/reply_size.h"

#include "request/daemon_pool.h"

namespace quillonctl {
namespace {

// Message type and server identifier stand in front of the entry's own options.
constexpr LONG HeaderSize = 9;

}  // namespace

std::optional<CutReply> CutOf(const ClientEntry& entry, const ServerParameters& record) {
    const LONG length = RaisePacketLength(ShortRequest, record.MinResponseSize, record.Daemonblksize);
    const LONG room = length - static_cast<LONG>(sizeof(BootPacket)) - HeaderSize;
    const std::uint8_t* options = Options(&entry.packet);
    std::optional<std::uint8_t> lost;
    LONG at = 0;
    while (at + 1 < entry.templateCapacity && options[at] != TagEnd) {
        const LONG next = at + 2 + options[at + 1];
        if (next > room && !lost) lost = options[at];
        at = next;
    }
    if (!lost && at + 1 <= room) return std::nullopt;
    const LONG needed = static_cast<LONG>(sizeof(BootPacket)) + HeaderSize + at + 1;
    return CutReply{needed, lost.value_or(TagEnd)};
}

}  // namespace quillonctl
