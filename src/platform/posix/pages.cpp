#include "platform/posix/pages.h"

#include <sanitizer/lsan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#pragma weak __lsan_register_root_region  // there only in a build that looks for leaks

namespace {

constexpr int kCollapse = 25;  // MADV_COLLAPSE, which not every C library knows

// What a piece takes up: a large one is made of huge pages only.
std::size_t WholePages(std::size_t bytes) {
    static const auto smallPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t page = bytes < kHugePage ? smallPage : kHugePage;
    return (bytes + page - 1) / page * page;
}

std::byte* Map(std::size_t bytes, int protection, int flags) {
    void* start = mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
    return start == MAP_FAILED ? nullptr : static_cast<std::byte*>(start);
}

// Maps more than is asked for, and gives back what stands over on either side.
std::byte* MapAligned(std::size_t bytes, int protection, int flags) {
    if (bytes > SIZE_MAX / 2) return nullptr;
    std::byte* start = Map(bytes + kHugePage, protection, flags);
    if (start == nullptr) return nullptr;
    const std::size_t before = (kHugePage - reinterpret_cast<std::uintptr_t>(start) % kHugePage) % kHugePage;
    if (before != 0) munmap(start, before);
    munmap(start + before + bytes, kHugePage - before);
    return start + before;
}

// A kernel that has no huge pages refuses, and the small ones do as well.
void PreferHugePages(std::byte* start, std::size_t bytes) {
    madvise(start, bytes, MADV_HUGEPAGE);
}

}  // namespace

void* MapPages(std::size_t bytes) {
    if (bytes > SIZE_MAX / 2) return nullptr;
    const std::size_t whole = WholePages(bytes);
    if (whole < kHugePage) return Map(whole, PROT_READ | PROT_WRITE, 0);
    std::byte* start = MapAligned(whole, PROT_READ | PROT_WRITE, 0);
    if (start != nullptr) PreferHugePages(start, whole);
    return start;
}

void UnmapPages(void* pages, std::size_t bytes) {
    munmap(pages, WholePages(bytes));
}

// What is reachable from there is no leak.
std::byte* ReserveAddresses(std::size_t bytes) {
    std::byte* start = MapAligned(WholePages(bytes), PROT_NONE, MAP_NORESERVE);
    if (start != nullptr && &__lsan_register_root_region != nullptr)
        __lsan_register_root_region(start, bytes);
    return start;
}

bool CommitPages(std::byte* start, std::size_t bytes) {
    if (mprotect(start, bytes, PROT_READ | PROT_WRITE) != 0) return false;
    std::byte* const end = start + bytes;
    if (bytes >= kHugePage)
        PreferHugePages(start, bytes);
    else if (reinterpret_cast<std::uintptr_t>(end) % kHugePage == 0)
        madvise(end - kHugePage, kHugePage, kCollapse);
    return true;
}
