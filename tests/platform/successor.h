// Who takes over a mutex that a thread has given back lazily, and when.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "platform/lazy_release.h"

// Waits without the operations under test, whose waits would have the successor woken.
inline bool Becomes(const std::atomic<bool>& flag, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!flag && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return flag;
}

// One that waits for a mutex until it gets it.
class Successor {
  public:
    explicit Successor(HANDLE mutex) {
        thread_ = std::thread([this, mutex] {
            WaitForSingleObject(mutex, INFINITE);
            hasIt = true;
            ReleaseMutex(mutex);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // it stands in line by then, as a rule
    }
    ~Successor() { thread_.join(); }

    std::atomic<bool> hasIt{false};

  private:
    std::thread thread_;
};

// A thread that hasn't released lazily for a while wakes the waiter in any case; after this it doesn't.
inline void TakeLazyTurn(HANDLE mutex) {
    WaitForSingleObject(mutex, INFINITE);
    const Successor successor(mutex);
    ReleaseMutexLazily(mutex, false);
    ExpectHoldUp();
}

// Has the mutex given back lazily while another thread waits for it, then `happen`. Whether that thread got
// it before this one did anything else.
inline bool IsPassedOn(HANDLE mutex, const std::function<void()>& happen, std::chrono::milliseconds limit) {
    TakeLazyTurn(mutex);
    WaitForSingleObject(mutex, INFINITE);
    Successor successor(mutex);
    ReleaseMutexLazily(mutex, false);
    happen();
    const bool passed = Becomes(successor.hasIt, limit);
    ExpectHoldUp();
    return passed;
}
