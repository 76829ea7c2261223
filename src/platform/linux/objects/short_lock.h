// A lock for what takes a moment and is rarely wanted by two threads at once. Within the layer only.
//
// To take and to give it back costs an atomic operation each, without a call. Nobody is promised a turn, and
// a thread that holds it must not take it again.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/linux/objects/futex.h"

class ShortLock {
  public:
    void lock() {
        std::uint32_t seen = Free;
        if (!word_.compare_exchange_strong(seen, Held, std::memory_order_acquire, std::memory_order_relaxed))
            Wait();
    }
    void unlock() {
        if (word_.exchange(Free, std::memory_order_release) == Wanted) FutexWake(word_, 1);
    }

  private:
    static constexpr std::uint32_t Free = 0;
    static constexpr std::uint32_t Held = 1;
    static constexpr std::uint32_t Wanted = 2;  // held, and a thread may be asleep

    // Who has waited can't know whether it was the only one.
    void Wait() {
        while (word_.exchange(Wanted, std::memory_order_acquire) != Free)
            FutexWait(word_, Wanted, Deadline(INFINITE));
    }

    std::atomic<std::uint32_t> word_{Free};
};
