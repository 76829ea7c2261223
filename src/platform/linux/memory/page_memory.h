// Memory straight from the system, zero-filled, that goes back there. Within the layer only.
#pragma once

#include <cstddef>

// `bytes` of memory, or null. It takes up whole pages, each from when it is first touched.
void* MapPages(std::size_t bytes);
void UnmapPages(void* pages, std::size_t bytes);

// Addresses that nobody else gets and behind which there is no memory yet; null if there are not so many.
std::byte* ReserveAddresses(std::size_t bytes);

// Puts memory behind some of them; both figures are multiples of 64 KiB. False if there is none.
bool CommitPages(std::byte* start, std::size_t bytes);
