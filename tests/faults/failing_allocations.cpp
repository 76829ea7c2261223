#include "faults/failing_allocations.h"

#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> left{0};  // until the one that fails; 0 when none is to fail
std::atomic<bool> hasFailed{false};
std::atomic<long> counted{0};

bool Fails() {
    if (left.load(std::memory_order_relaxed) <= 0 || left.fetch_sub(1) != 1) return false;
    hasFailed = true;
    errno = ENOMEM;
    return true;
}

void* Allocate(std::size_t size, std::size_t alignment) noexcept {
    ++counted;
    if (Fails()) return nullptr;
    if (alignment <= alignof(std::max_align_t)) return std::malloc(size == 0 ? 1 : size);
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* OrThrow(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

FailingAllocation::FailingAllocation(long nth) {
    hasFailed = false;
    left = nth;
}

FailingAllocation::~FailingAllocation() {
    left = 0;
}

bool FailingAllocation::HasFailed() {
    return hasFailed;
}

long AllocationCount() {
    return counted;
}

// The linker sends the layer's calls here.
extern "C" {
void* __real_mmap(void*, size_t, int, int, int, off_t);
void* __real_calloc(size_t, size_t);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

void* __wrap_mmap(void* start, size_t size, int protection, int flags, int file, off_t offset) {
    return Fails() ? MAP_FAILED : __real_mmap(start, size, protection, flags, file, offset);
}
void* __wrap_calloc(size_t count, size_t size) {
    return Fails() ? nullptr : __real_calloc(count, size);
}
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
    return Fails() ? EAGAIN : __real_pthread_create(thread, attributes, routine, argument);
}
}

// All forms are replaced: a sanitizer's own do not come to the plain ones.
// clang-format off
using std::align_val_t, std::size_t, std::nothrow_t;
void* operator new(size_t size) { return OrThrow(Allocate(size, 1)); }
void* operator new[](size_t size) { return OrThrow(Allocate(size, 1)); }
void* operator new(size_t size, align_val_t alignment) { return OrThrow(Allocate(size, static_cast<size_t>(alignment))); }
void* operator new[](size_t size, align_val_t alignment) { return OrThrow(Allocate(size, static_cast<size_t>(alignment))); }
void* operator new(size_t size, const nothrow_t&) noexcept { return Allocate(size, 1); }
void* operator new[](size_t size, const nothrow_t&) noexcept { return Allocate(size, 1); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t) noexcept { std::free(block); }
void operator delete[](void* block, size_t) noexcept { std::free(block); }
void operator delete(void* block, align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, align_val_t) noexcept { std::free(block); }
void operator delete(void* block, size_t, align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, size_t, align_val_t) noexcept { std::free(block); }
