// The thread that has ARP entries removed again, StaticArpTimeout after the reply that needed them.
//
// Its message queue is its only connection to the request threads. All entries live equally long, so the
// queue's order is the order in which they come due. The queue is bounded: if it is nearly full, the oldest
// entries go before their time, so that none is forgotten.
#pragma once

#include "arp/arp_helper.h"
#include "platform/windows_api.h"
#include "request/boot_packet.h"

// Number of the thread message: first parameter the local address, second the client's, each as four raw
// bytes.
inline constexpr UINT ArpExpiryMessage = 0x8000;

// Starts the thread. The time-out, in milliseconds, and the helper's entry point hold until it is stopped.
// To be called before any request is served. False with the last error set if there is no thread to be had:
// entries then stay.
bool StartArpExpiry(DWORD timeout, ArpRemoveFunction remove);

// Asks for the removal of an entry. May be called from any thread. It waits up to some 20 ms for room in the
// queue, which only a thread that hangs in the helper doesn't make; then the entry stays.
void PostArpExpiry(IpAddress localAddress, IpAddress clientAddress);

// Removes all entries that wait, and ends the thread. Returns after 3 s at the latest, whatever the helper
// does. To be called when no request is served any more; without a thread it does nothing.
void StopArpExpiry();

// Milliseconds that are left of `timeout` for an entry posted at tick count `posted`; right across the
// counter's wrap.
DWORD RemainingArpTime(DWORD now, DWORD posted, DWORD timeout);
