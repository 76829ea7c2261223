#include <gtest/gtest.h>

#include <string>

#include "class_a/counting_allocator.h"
#include "class_a/standard/CMessage.h"

namespace {

TEST(Message, AllocatesNothingForArgumentsThatFit) {
    const std::string longestInline(199, 'x');
    const std::string shortestOnHeap(200, 'x');
    ksl::CMessage message;
    const long before = allocation_count();
    message << 1 << 2U << 3L << 4UL << "five" << longestInline;
    const ksl::CMessage copy(message);
    EXPECT_EQ(allocation_count() - before, 0);
    message << shortestOnHeap;
    EXPECT_EQ(allocation_count() - before, 1);
}

}  // namespace
