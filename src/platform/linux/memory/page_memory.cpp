#include "platform/linux/memory/page_memory.h"

#include <sanitizer/lsan_interface.h>
#include <sys/mman.h>

#pragma weak __lsan_register_root_region  // there only in a build that looks for leaks

void* MapPages(std::size_t bytes) {
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

void UnmapPages(void* pages, std::size_t bytes) {
    munmap(pages, bytes);
}

void* MapLeakRoots(std::size_t bytes) {
    void* pages = MapPages(bytes);
    if (pages != nullptr && &__lsan_register_root_region != nullptr)
        __lsan_register_root_region(pages, bytes);
    return pages;
}
