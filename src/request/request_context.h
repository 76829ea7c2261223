// What a daemon thread hands over with a datagram.
#pragma once

#include "platform/windows_api.h"
#include "request/boot_packet.h"

struct Generation;

struct RequestContext {
    sockaddr_in from;        // the datagram's source, as recvfrom filled it in
    DWORD interfaceIndex;    // of the receiving socket in BoundSockets and LocalAddresses
    LONG length;             // the packet length; the reply has the same
    SOCKET socket;           // the receiving socket; the reply leaves through it
    BootPacket* packet;      // on the heap of blockOwner; its zero-filled block is longer than the packet
    Generation* blockOwner;  // one use of the generation whose heap holds the block
};

// Frees the block on its own heap and lets go of that generation.
void ReleaseRequest(RequestContext* context);
