// The DHCP reply to a request that carries tag 53, from the same static entry as a BOOTP reply: no leases, no
// state.
#pragma once

#include "database/client_entry.h"

// Rewrites the vendor area of the request in place. The fixed part, `yiaddr` and `cookie` above all, has been
// taken from the entry already; `serverAddress` is the local address of the receiving socket. False if the
// request gets no reply.
//
// Nothing is written at or behind `end`, the first byte behind the packet.
bool ComposeDhcpReply(BootPacket* packet, BYTE* end, const ClientEntry* entry, IpAddress serverAddress);
