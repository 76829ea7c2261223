#include "platform/linux/memory/page_memory.h"

#include <sanitizer/lsan_interface.h>
#include <sys/mman.h>

#pragma weak __lsan_register_root_region  // there only in a build that looks for leaks

namespace {

std::byte* Map(std::size_t bytes, int protection, int flags) {
    void* start = mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
    return start == MAP_FAILED ? nullptr : static_cast<std::byte*>(start);
}

}  // namespace

void* MapPages(std::size_t bytes) {
    return Map(bytes, PROT_READ | PROT_WRITE, 0);
}

void UnmapPages(void* pages, std::size_t bytes) {
    munmap(pages, bytes);
}

// What is reachable from there is no leak.
std::byte* ReserveAddresses(std::size_t bytes) {
    std::byte* start = Map(bytes, PROT_NONE, MAP_NORESERVE);
    if (start != nullptr && &__lsan_register_root_region != nullptr)
        __lsan_register_root_region(start, bytes);
    return start;
}

bool CommitPages(std::byte* start, std::size_t bytes) {
    return mprotect(start, bytes, PROT_READ | PROT_WRITE) == 0;
}
