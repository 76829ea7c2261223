// The choice between the two kinds of reply.
#pragma once

#include "database/client_entry.h"

enum class VendorFit {
    DhcpShaped = 0,  // the vendor area is untouched, and ComposeDhcpReply goes on
    PlainBootp = 1,  // the reply's vendor area is complete
};

// `options` is the first byte behind the request's cookie, `end` the first byte behind the packet. A request
// with tag 53 is DHCP-shaped; every other has its vendor area covered with the entry's template, as far as
// there is room.
//
// A packet that ends in front of its options has no room for any reply: it goes the DHCP way, which refuses
// it.
VendorFit FitVendorOptions(BYTE* options, const BYTE* end, const ClientEntry* entry);
