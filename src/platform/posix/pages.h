// Memory straight from the system, zero-filled, that goes back there. Within the layer only.
//
// Large pieces ask for huge pages: who looks up a hundred thousand clients in any order would else wait for
// the address of nearly every line that it reads.
#pragma once

#include <cstddef>

inline constexpr std::size_t kHugePage = std::size_t{2} << 20;

// `bytes` of memory, or null. A piece of a huge page and more is made of whole huge pages.
void* MapPages(std::size_t bytes);
void UnmapPages(void* pages, std::size_t bytes);

// Addresses, aligned to a huge page, that nobody else gets and behind which there is no memory yet; null if
// there are not so many.
std::byte* ReserveAddresses(std::size_t bytes);

// Puts memory behind some of them. False if there is none. Who does so in order and in small steps gets small
// pages, which become a huge one together when that is full. Both figures are multiples of 64 KiB, and no
// step goes beyond a huge page that it begins within.
bool CommitPages(std::byte* start, std::size_t bytes);
