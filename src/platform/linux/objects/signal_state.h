// What a thread can wait for: set or not, with the threads that wait in the order of their coming. Within the
// layer only.
#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include "platform/linux/faces/types.h"
#include "platform/linux/objects/intrusive_list.h"

class SignalState {
  public:
    // With manual reset a set state stays and lets all pass; without, it lets one thread pass and is gone.
    SignalState(bool manualReset, bool set) : manualReset_(manualReset), set_(set) {}

    void Set();
    void Reset();

    // All waits fail with ERROR_INVALID_HANDLE from now on.
    void Close();

    // WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
    DWORD Wait(DWORD milliseconds);

  private:
    struct Waiter {
        std::condition_variable wake;
        std::optional<DWORD> outcome;
        ListLinks<Waiter> links;
    };

    DWORD WaitInLine(DWORD milliseconds);
    void Dismiss(Waiter& waiter, DWORD outcome);

    std::mutex mutex_;  // guards all that follows
    const bool manualReset_;
    bool set_;
    bool closed_ = false;
    IntrusiveList<Waiter, &Waiter::links> waiters_;
};
