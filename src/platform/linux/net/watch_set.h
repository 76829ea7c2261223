// Waiting for datagrams on many SOCKETs at once. Within the layer.
//
// The same sets are waited on again and again, so the kernel's list of their descriptors is made once and
// kept until one of the sockets is closed or bound: a wait is one system call, however many sockets it
// watches.
#pragma once

#include <chrono>
#include <optional>
#include <span>

#include "platform/linux/faces/types.h"
#include "platform/linux/net/datagram_socket.h"

// At most this many SOCKETs at once.
inline constexpr std::size_t MostWatched = 255;

// Waits until one of the sockets is readable; no limit waits without end. Returns how many are, and stores
// them in `readable` in the order of the set, each once; it has room for all and may be the set itself. 0
// when the time is over; -1 with errno, ENOTSOCK if one of them was closed before. One that is closed while
// the wait lasts counts as readable.
//
// Sockets that have read ahead are returned alone. The others are asked for as soon as that is used up, which
// takes no more than ReadAhead::Depth datagrams for each descriptor. So a caller who prefers some sockets to
// others gets its way among those that are returned, and the preferred one waits for so many at most.
int WaitUntilReadable(std::span<const UINT_PTR> sockets, std::optional<std::chrono::microseconds> limit,
                      UINT_PTR* readable);

// Makes every thread that waits on the socket look again whether and with which descriptors it is there.
void RetireWatchSets(const DatagramSocket& socket);

// Makes every thread that waits on the socket look whether it has read ahead what it waits for.
void WakeWaiters(const DatagramSocket& socket);
