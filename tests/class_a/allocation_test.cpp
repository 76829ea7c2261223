#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "class_a/standard/CMessage.h"

namespace {

std::atomic<long> allocations = 0;

void* counted(std::size_t size) {
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

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

namespace {

TEST(Message, AllocatesNothingForArgumentsThatFit) {
    const std::string longestInline(199, 'x');
    const std::string shortestOnHeap(200, 'x');
    ksl::CMessage message;
    const long before = allocations;
    message << 1 << 2U << 3L << 4UL << "five" << longestInline;
    const ksl::CMessage copy(message);
    EXPECT_EQ(allocations - before, 0);
    message << shortestOnHeap;
    EXPECT_EQ(allocations - before, 1);
}

}  // namespace
