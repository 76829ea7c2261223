// The kernel's descriptors of a SOCKET. Within the layer; failures are returned as numbers of errno.
//
// A UDP descriptor that is bound to an address receives no broadcast on Linux, so a SOCKET has up to two more
// that take the broadcasts of the interface that owns its address. Each of them gets its own copy of a
// datagram, whoever else listens there.
#pragma once

#include <netinet/in.h>

#include <cstdint>

#include "platform/linux/system/descriptor.h"

// A UDP descriptor with a receive buffer that holds a burst of thousands of requests.
int OpenDatagramDescriptor(Descriptor& descriptor);

struct BroadcastDescriptors {
    Descriptor limited;   // 255.255.255.255
    Descriptor directed;  // the broadcast address of the subnet
};

// Opens what takes the broadcasts for a SOCKET bound to `own`. An address whose interface has no broadcasts
// gets none, an address without a subnet broadcast only the limited one. EADDRNOTAVAIL if `own` is an address
// that only a broadcast or a multicast can have.
int OpenBroadcastDescriptors(const sockaddr_in& own, BroadcastDescriptors& broadcasts);

enum class InterfaceLimit {
    Binding,  // the kernel's own binding to an interface
    Filter    // a packet filter that passes that interface only: takes no privilege on any kernel
};

// Opens one descriptor bound to `address` that receives nothing but what came in by the interface.
int OpenInterfaceDescriptor(const sockaddr_in& address, std::uint32_t interfaceIndex, InterfaceLimit limit,
                            Descriptor& descriptor);
