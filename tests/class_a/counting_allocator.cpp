#include "class_a/counting_allocator.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> allocations = 0;
std::atomic<long> failing = 0;
std::atomic<bool> failed = false;

void* counted(std::size_t size) {
    if (++allocations == failing) {
        failed = true;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

long allocation_count() {
    return allocations;
}

bool fail_allocation(long number) {
    failing = number == 0 ? 0 : allocations + number;
    return failed.exchange(false);
}

// All forms are replaced: a sanitizer's own do not come to the plain ones.
void* operator new(std::size_t size) {
    if (void* const block = counted(size)) return block;
    throw std::bad_alloc();
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete[](void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
