// The thread that has ARP entries removed again, StaticArpTimeout after the reply that needed them.
//
// Its message queue is its only connection to the request threads. All entries live equally long, so the
// queue's order is the order in which they come due. The thread ends with the process; entries that wait then
// are not removed.
#pragma once

#include "arp/arp_helper.h"
#include "platform/windows_api.h"
#include "request/boot_packet.h"

// Number of the thread message: first parameter the local address, second the client's, each as four raw
// bytes.
inline constexpr UINT ArpExpiryMessage = 0x8000;

// Starts the thread. The time-out, in milliseconds, and the helper's entry point hold for the life of the
// process. To be called once, before any request is served.
void StartArpExpiry(DWORD timeout, ArpRemoveFunction remove);

// Asks for the removal of an entry. May be called from any thread; a message that can't be posted is lost.
void PostArpExpiry(IpAddress localAddress, IpAddress clientAddress);

// Milliseconds that are left of `timeout` for an entry posted at tick count `posted`; right across the
// counter's wrap.
DWORD RemainingArpTime(DWORD now, DWORD posted, DWORD timeout);
