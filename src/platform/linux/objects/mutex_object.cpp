#include "platform/linux/objects/mutex_object.h"

#include "platform/linux/faces/wait.h"
#include "platform/linux/objects/deadline.h"
#include "platform/linux/objects/freeze_point.h"
#include "platform/linux/objects/futex.h"
#include "platform/linux/objects/thread_object.h"

namespace {

// The word holds the id of the owner, which is a multiple of 4; 0 is free, and kReserved is free for a thread
// that has just been woken. Once kClosed is set it stays; kAbandoned goes with a free word only.
constexpr std::uint32_t kClosed = 1;
constexpr std::uint32_t kAbandoned = 2;
constexpr std::uint32_t kOwner = ~(kClosed | kAbandoned);
constexpr std::uint32_t kReserved = kOwner;

constexpr bool IsOwned(std::uint32_t word) {
    return (word & kOwner) != 0 && (word & kOwner) != kReserved;
}

// The waiters are counted in the lower half, those among them that have been passed over too often in the
// upper half. As long as there is one of the latter, a mutex that is given back is reserved: newcomers stand
// in line, and the line is served in order.
constexpr std::uint32_t kWaiter = 1;
constexpr std::uint32_t kPassedOver = 1u << 16;
// A waiter has been woken and hasn't looked yet: until it has, nobody else needs waking. So a thread that
// gives a mutex back and takes it again and again pays for one wake-up, not for one each time.
constexpr std::uint32_t kWaking = 1u << 15;
constexpr std::uint32_t kWaiterCount = kWaking - 1;
constexpr unsigned kPatience = 4;

}  // namespace

DWORD MutexObject::Wait(DWORD milliseconds) {
    FreezeWhileSuspended();
    ThreadObject& thread = ThreadObject::Current();
    std::uint32_t seen = 0;
    Attempt attempt = TryTake(thread, false, seen);
    if (attempt == Attempt::Busy && milliseconds != 0)
        attempt = TakeContended(thread, Deadline(milliseconds));
    FreezeWhileSuspended();
    switch (attempt) {
        case Attempt::Taken:
            return WAIT_OBJECT_0;
        case Attempt::TakenAbandoned:
            return WAIT_ABANDONED;
        case Attempt::Busy:
            return WAIT_TIMEOUT;
        case Attempt::Closed:
            break;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

MutexObject::Attempt MutexObject::TryTake(ThreadObject& thread, bool mayTakeReserved, std::uint32_t& seen) {
    seen = word_.load();
    while (true) {
        if ((seen & kClosed) != 0) return Attempt::Closed;
        const std::uint32_t owner = seen & kOwner;
        if (owner == thread.Id()) {
            ++recursion_;
            return Attempt::Taken;
        }
        if (owner != 0 && !(owner == kReserved && mayTakeReserved)) return Attempt::Busy;
        if (word_.compare_exchange_weak(seen, thread.Id(), std::memory_order_acquire,
                                        std::memory_order_relaxed))
            break;
    }
    thread.heldMutexes.Append(*this);
    return (seen & kAbandoned) != 0 ? Attempt::TakenAbandoned : Attempt::Taken;
}

MutexObject::Attempt MutexObject::TakeContended(ThreadObject& thread, const Deadline& deadline) {
    std::uint32_t counted = kWaiter;
    waiters_.fetch_add(counted);
    Attempt attempt = Attempt::Busy;
    unsigned passedOver = 0;
    for (bool woken = false;;) {
        std::uint32_t seen = 0;
        attempt = TryTake(thread, woken, seen);
        if (attempt != Attempt::Busy) break;
        if (woken && ++passedOver == kPatience) {
            waiters_.fetch_add(kPassedOver);
            counted += kPassedOver;
        }
        const FutexOutcome outcome = FutexWait(word_, seen, deadline);
        if (outcome == FutexOutcome::TimedOut) break;
        woken = outcome == FutexOutcome::Woken;
        if (woken) waiters_.fetch_and(~kWaking);
        if (woken && IsSuspended()) {
            // The mutex isn't for a thread that can't use it.
            WakeOne();
            FreezeWhileSuspended();
            woken = false;
        }
    }
    waiters_.fetch_sub(counted);
    return attempt;
}

bool MutexObject::Release() {
    ThreadObject& thread = ThreadObject::Current();
    if ((word_.load(std::memory_order_relaxed) & kOwner) != thread.Id()) {
        SetLastError(ERROR_NOT_OWNER);
        return false;
    }
    if (recursion_ != 0) {
        --recursion_;
        return true;
    }
    thread.heldMutexes.Remove(*this);
    GiveBack(0);
    return true;
}

// The caller holds a reference and has taken the mutex out of the owner's list.
void MutexObject::GiveBack(std::uint32_t abandoned) {
    const std::uint32_t free = abandoned | (waiters_.load() >= kPassedOver ? kReserved : 0);
    std::uint32_t seen = word_.load(std::memory_order_relaxed);
    while (!word_.compare_exchange_weak(seen, free | (seen & kClosed))) {
    }
    // In the one total order of the two words either the new waiter sees the mutex free or we see the waiter.
    if ((seen & kClosed) != 0)
        ReleaseReference();
    else if ((waiters_.load() & kWaiterCount) != 0)
        WakeOne();
}

void MutexObject::WakeOne() {
    if ((waiters_.fetch_or(kWaking) & kWaking) != 0) return;
    if (FutexWake(word_, 1) != 0) return;
    waiters_.fetch_and(~kWaking);
    // Who gave the mutex back meanwhile relied on us, and a waiter may have gone to sleep before that.
    if (!IsOwned(word_.load()) && FutexWake(word_, 1) != 0) return;
    // Nobody sleeps to whom the mutex could be reserved, so it is for all; and whoever has gone to sleep
    // meanwhile, because it was reserved, has to hear of that.
    std::uint32_t seen = word_.load();
    while ((seen & (kOwner | kClosed)) == kReserved)
        if (word_.compare_exchange_weak(seen, seen & kAbandoned)) {
            FutexWake(word_, 1);
            return;
        }
}

// From here on no handle keeps the object, but the list of an owner may still lead to it. So an owner gets a
// reference of its own, which it gives up together with the mutex.
void MutexObject::OnLastHandleClosed() {
    AddReference();
    const std::uint32_t before = word_.fetch_or(kClosed);
    // As in GiveBack: a waiter that isn't counted yet will find the mutex closed.
    if ((waiters_.load() & kWaiterCount) != 0) FutexWake(word_, kAllSleepers);
    ThreadObject& thread = ThreadObject::Current();
    if ((before & kOwner) == thread.Id()) thread.heldMutexes.Remove(*this);
    if (!IsOwned(before) || (before & kOwner) == thread.Id()) ReleaseReference();
}

void MutexObject::Abandon() {
    const Ref<MutexObject> self = Ref<MutexObject>::Share(this);
    ThreadObject::Current().heldMutexes.Remove(*this);
    recursion_ = 0;
    GiveBack(kAbandoned);
}
