// Memory straight from the system, zero-filled, that goes back there. Within the layer only.
#pragma once

#include <cstddef>

// `bytes` of memory, or null. It takes up whole pages, each from when it is first touched.
void* MapPages(std::size_t bytes);
void UnmapPages(void* pages, std::size_t bytes);

// The same, for pages whose content keeps what it points to from counting as a leak.
void* MapLeakRoots(std::size_t bytes);
