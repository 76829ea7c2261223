// How often datagrams have been fetched from the kernel, by which a look at a file can be told to be later
// than the coming of a datagram. Within the layer only.
#pragma once

#include <atomic>
#include <cstdint>

// Raised after each fetch. Who reads it and then looks at a file sees every edit that was complete when one
// of the datagrams was sent that have been fetched up to that number.
inline constinit std::atomic<std::uint64_t> fetchCount{0};

// The number of the fetch that brought the datagram that the calling thread has received last; 0 if there is
// none, or if it has been made use of.
inline constinit thread_local std::uint64_t fetchOfLastDatagram = 0;
