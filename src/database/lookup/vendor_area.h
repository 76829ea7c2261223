// The vendor area of a reply: the entry's template for BOOTP, or what a DHCP request gets of it. No leases,
// no state: both come from the same static entry.
#pragma once

#include "database/client_entry.h"

enum class VendorFit {
    DhcpShaped = 0,  // the vendor area is untouched, and ComposeDhcpReply goes on
    PlainBootp = 1,  // the reply's vendor area is complete
};

// `options` is the first byte after the request's cookie, `end` the first byte after the packet. A request
// with tag 53 is DHCP-shaped; every other has its vendor area covered with the entry's template, as far as
// there is room.
//
// What lies after `end` counts as zeros. So a 53 that is the packet's last byte is a message type of 0,
// which the DHCP way refuses; any other tag without a length, or with a value that is cut, ends the list. A
// packet that ends in front of its options has no room for any reply, and goes the DHCP way to be refused
// too.
VendorFit FitVendorOptions(BYTE* options, const BYTE* end, const ClientEntry* entry);

// Rewrites the vendor area of the request in place. The fixed part, `yiaddr` and `cookie` above all, has been
// taken from the entry already; `serverAddress` is the local address of the receiving socket. False if the
// request gets no reply.
//
// Nothing is written at or after `end`, the first byte after the packet.
bool ComposeDhcpReply(BootPacket* packet, BYTE* end, const ClientEntry* entry, IpAddress serverAddress);
