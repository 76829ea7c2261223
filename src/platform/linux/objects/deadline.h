// The end of a wait, on the monotonic clock. Within the layer only.
#pragma once

#include <chrono>
#include <optional>

#include "platform/linux/faces/types.h"

class Deadline {
  public:
    using Clock = std::chrono::steady_clock;

    // INFINITE has no end.
    explicit Deadline(DWORD milliseconds) {
        if (milliseconds != INFINITE) end_ = Clock::now() + std::chrono::milliseconds(milliseconds);
    }

    const std::optional<Clock::time_point>& End() const { return end_; }

  private:
    std::optional<Clock::time_point> end_;
};

// Waits on a condition variable until `ready` holds; false if the deadline came first.
template <class Condition, class Lock, class Ready>
bool WaitUntil(Condition& condition, Lock& lock, const Deadline& deadline, Ready ready) {
    if (deadline.End()) return condition.wait_until(lock, *deadline.End(), ready);
    condition.wait(lock, ready);
    return true;
}
