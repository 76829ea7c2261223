#include <gtest/gtest.h>

#include <functional>

#include "class_a/standard/CExceptionSink.h"
#include "class_a/standard/CStringMap.h"
#include "faults/failing_allocations.h"

namespace {

TEST(Message, AllocatesNothingForArgumentsThatFit) {
    const std::string longestInline(199, 'x');
    const std::string shortestOnHeap(200, 'x');
    ksl::CMessage message;
    const long before = AllocationCount();
    message << 1 << 2U << 3L << 4UL << "five" << 6.5 << 7LL << '8' << longestInline;
    const ksl::CMessage copy(message);
    EXPECT_EQ(AllocationCount() - before, 0);
    message << shortestOnHeap;
    EXPECT_EQ(AllocationCount() - before, 1);
}

// Runs with each allocation failing in turn, and then with none. `check` learns whether one failed.
void with_each_failure(const std::function<void()>& run, const std::function<void(bool failed)>& check) {
    const long allocations = FailEachAllocation([&](long number) {
        {
            const FailingAllocation failure(number);
            run();
        }
        check(FailingAllocation::HasFailed());
        return FailingAllocation::HasFailed() && number < 1000;
    });
    EXPECT_TRUE(allocations > 0 && allocations < 999);
}

struct Counter : ksl::CExceptionSink {
    void handle(ksl::CExceptionPtr exception) override {
        ++calls;
        empty = exception.empty();
    }
    int calls = 0;
    bool empty = false;
};

TEST(WithoutMemory, AnExceptionReachesItsSink) {
    ksl::CException original;
    original.message(ksl::CMessage("A text of some length: %1") << std::string(300, 'x'));
    original.function("Of::aNameThatNeedsTheHeap");
    Counter sink;
    auto failure = std::make_unique<ksl::CException>(original);
    with_each_failure([&] { failure->report(&sink); },
                      [&](bool failed) {
                          EXPECT_EQ(sink.empty, failed);
                          EXPECT_EQ(std::exchange(sink.calls, 0), 1);
                          failure = std::make_unique<ksl::CException>(original);
                      });
    std::unique_ptr<ksl::CException> clone;
    with_each_failure([&] { clone.reset(original.clone()); },
                      [&](bool failed) { EXPECT_EQ(clone == nullptr, failed); });
}

TEST(WithoutMemory, ParsingSaysSo) {
    const std::string text = "a_long_key_on_the_heap=1\nb=a long value on the heap\nc=3";
    std::string copy = text;
    ksl::CStringMap map;
    bool parsed = false;
    with_each_failure([&] { parsed = map.parse(std::move(copy)); },
                      [&](bool failed) {
                          EXPECT_EQ(parsed, !failed);
                          EXPECT_TRUE(failed || map.size() == 3);
                          EXPECT_TRUE(text.starts_with(map.format("\n", false, "")));  // what was read stays
                          map.clear();
                          copy = text;
                      });
}

}  // namespace
