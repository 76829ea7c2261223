// What holds for every reply, whatever the request was. A broken rule ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "class_a/fuzz/expect.h"
#include "request/boot_packet.h"

// How a walk over a list of options ended.
enum class Walk { EndMark, Sought, OverTheEnd };

// From tag to tag up to `sought`, the end mark or the end. `at` is left where the walk stopped.
inline Walk WalkOptions(const std::uint8_t*& at, const std::uint8_t* end, std::uint8_t sought) {
    while (at < end) {
        if (*at == sought) return Walk::Sought;
        if (*at == TagEnd) return Walk::EndMark;
        if (*at == TagPad) {
            ++at;
            continue;
        }
        if (end - at < 2 || end - at < 2 + at[1]) return Walk::OverTheEnd;
        at += 2 + at[1];
    }
    return Walk::OverTheEnd;
}

// A request that asks in DHCP: a tag 53 is met before the end mark and before the packet's end.
inline bool IsDhcpShaped(const std::uint8_t* packet, std::size_t length) {
    const std::uint8_t* at = packet + sizeof(BootPacket);
    return length > sizeof(BootPacket) && WalkOptions(at, packet + length, TagMessageType) == Walk::Sought;
}

// Whether the vendor area begins as that of an offer or an acknowledgement does.
inline bool IsComposed(const std::uint8_t* area, std::size_t room) {
    return room >= 9 && area[0] == TagMessageType && area[1] == 1 && (area[2] == 2 || area[2] == 5) &&
           area[3] == TagServerIdentifier && area[4] == 4;
}

// `reply` of `length` bytes to a request for which `request` holds as many. Its own list of options has an
// end mark if there was room for `largestTemplate` bytes of options and the composer's nine.
inline void ExpectSoundReply(const std::uint8_t* request, const std::uint8_t* reply, std::size_t length,
                             std::size_t largestTemplate, bool ignoresClientVendor) {
    const auto* asked = reinterpret_cast<const BootPacket*>(request);
    const auto* given = reinterpret_cast<const BootPacket*>(reply);
    expect(length >= sizeof(BootPacket), "a reply is a whole message");
    expect(std::memcmp(asked->xid, given->xid, sizeof asked->xid) == 0, "the transaction is the client's");
    expect(std::memcmp(asked->chaddr, given->chaddr, sizeof asked->chaddr) == 0 &&
               asked->htype == given->htype && asked->hlen == given->hlen,
           "the hardware address is the client's");

    const std::uint8_t* area = reply + sizeof(BootPacket);
    const std::size_t room = length - sizeof(BootPacket);
    const bool isShaped = !ignoresClientVendor && IsDhcpShaped(request, length);
    if (room <= largestTemplate + 9 || (isShaped && !IsComposed(area, room))) return;
    expect(WalkOptions(area, reply + length, TagEnd) == Walk::Sought, "the options end with the end mark");
}
