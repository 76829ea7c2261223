#include "platform/linux/objects/signal_state.h"

#include "platform/linux/faces/wait.h"
#include "platform/linux/objects/deadline.h"
#include "platform/linux/objects/freeze_point.h"
#include "platform/linux/objects/promise.h"

void SignalState::Set() {
    const std::lock_guard lock(mutex_);
    while (Waiter* first = waiters_.First()) {
        Dismiss(*first, WAIT_OBJECT_0);
        if (!manualReset_) return;
    }
    set_ = true;
}

void SignalState::Reset() {
    const std::lock_guard lock(mutex_);
    set_ = false;
}

void SignalState::Close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    while (Waiter* first = waiters_.First())
        Dismiss(*first, WAIT_FAILED);
}

DWORD SignalState::Wait(DWORD milliseconds) {
    FreezeWhileSuspended();
    KeepPromise();
    const DWORD outcome = WaitInLine(milliseconds);
    FreezeWhileSuspended();
    if (outcome == WAIT_FAILED) SetLastError(ERROR_INVALID_HANDLE);
    return outcome;
}

DWORD SignalState::WaitInLine(DWORD milliseconds) {
    std::unique_lock lock(mutex_);
    if (closed_) return WAIT_FAILED;
    if (set_) {
        set_ = manualReset_;
        return WAIT_OBJECT_0;
    }
    if (milliseconds == 0) return WAIT_TIMEOUT;
    Waiter self;
    waiters_.Append(self);
    if (WaitUntil(self.wake, lock, Deadline(milliseconds), [&] { return self.outcome.has_value(); }))
        return *self.outcome;
    waiters_.Remove(self);
    return WAIT_TIMEOUT;
}

// Under the lock to its end: the waiter lies on the stack of a thread that returns as soon as it gets the
// lock.
void SignalState::Dismiss(Waiter& waiter, DWORD outcome) {
    waiters_.Remove(waiter);
    waiter.outcome = outcome;
    waiter.wake.notify_one();
}
