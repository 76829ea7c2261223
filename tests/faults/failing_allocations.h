// Lack of memory on demand: in a program with this unit, one chosen allocation of the process fails.
//
// Counted are all forms of operator new, and what the layer asks of the system: mappings, blocks for C
// callers, threads.
#pragma once

// While it lives, the `nth` allocation from its making on fails; the first is 1. One at a time.
class FailingAllocation {
  public:
    explicit FailingAllocation(long nth);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    // Whether so many were asked for.
    static bool HasFailed();
};

// How often this process has called any form of operator new.
long AllocationCount();

// Runs `attempt` with each of its allocations, or every `step`th, failing in turn, until it runs without.
// Returns how many there were.
template <class Attempt>
long FailEachAllocation(Attempt attempt, long step = 1) {
    for (long nth = 1;; nth += step)
        if (!attempt(nth)) return nth - 1;
}
