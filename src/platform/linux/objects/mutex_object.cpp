#include "platform/linux/objects/mutex_object.h"

#include <optional>

#include "platform/linux/faces/wait.h"
#include "platform/linux/objects/deadline.h"
#include "platform/linux/objects/freeze_point.h"
#include "platform/linux/objects/futex.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/objects/thread_object.h"

using mutex_word::Attempt;
using mutex_word::Word;

namespace {

bool IsTaken(Attempt attempt) {
    return attempt == Attempt::Taken || attempt == Attempt::TakenAbandoned;
}

DWORD OutcomeOf(Attempt attempt) {
    switch (attempt) {
        case Attempt::Taken:
        case Attempt::TakenAgain:
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

}  // namespace

// Nearly always the mutex is free, has no line and no marks: then a look comes down to this.
bool MutexObject::TakeAtOnce(ThreadObject& thread) {
    Word seen = word_.load(std::memory_order_relaxed);
    if (seen != 0 || thread.IsSuspended()) return false;
    if (!word_.compare_exchange_strong(seen, mutex_word::OwnedBy(thread.Id()))) return false;
    if (promise.mutex == this) promise = {};  // as every look keeps it
    thread.heldMutexes.Append(*this);
    if (!thread.IsSuspended()) return true;
    thread.heldMutexes.Remove(*this);
    GiveBack(0);
    return false;
}

DWORD MutexObject::Wait(DWORD milliseconds) {
    ThreadObject& thread = ThreadObject::Current();
    return TakeAtOnce(thread) ? WAIT_OBJECT_0 : WaitForIt(thread, milliseconds);
}

DWORD MutexObject::WaitForIt(ThreadObject& thread, DWORD milliseconds) {
    std::optional<Deadline> deadline;
    for (;;) {
        FreezeWhileSuspended();
        Attempt attempt = TakeOrLook(thread, false);
        if (attempt == Attempt::Busy && milliseconds != 0) {
            if (!deadline) deadline.emplace(milliseconds);
            attempt = TakeContended(thread, *deadline);
        }
        if (IsTaken(attempt) && IsSuspended()) {
            // The mutex isn't for a thread that can't use it: that one tries again when it may go on.
            thread.heldMutexes.Remove(*this);
            GiveBack(attempt == Attempt::TakenAbandoned ? mutex_word::AbandonedMark : 0);
            continue;
        }
        if (!IsTaken(attempt)) FreezeWhileSuspended();
        return OutcomeOf(attempt);
    }
}

Attempt MutexObject::TakeOrLook(ThreadObject& thread, bool woken) {
    const Word self = mutex_word::OwnedBy(thread.Id());
    if (promise.mutex == this) promise = {};  // this look keeps it
    Word seen = word_.load();
    mutex_word::Look look;
    do {
        look = mutex_word::LookAt(seen, self, woken);
    } while (look.next != seen && !word_.compare_exchange_weak(seen, look.next));
    if (look.attempt == Attempt::TakenAgain) ++recursion_;
    if (IsTaken(look.attempt)) thread.heldMutexes.Append(*this);
    return look.attempt;
}

Attempt MutexObject::TakeContended(ThreadObject& thread, const Deadline& deadline) {
    MutexWaiter waiter{*this, mutex_word::OwnedBy(thread.Id())};
    for (;;) {
        MutexWaiter::Call call = MutexWaiter::Look;
        const bool inLine = LineUp(waiter);
        if (inLine) call = WaitInLine(waiter, deadline);
        if (call == MutexWaiter::None) return Attempt::Busy;
        if (call != MutexWaiter::Look) {
            thread.heldMutexes.Append(*this);
            return call == MutexWaiter::IsOwner ? Attempt::Taken : Attempt::TakenAbandoned;
        }
        const Attempt attempt = TakeOrLook(thread, inLine);
        if (attempt != Attempt::Busy) return attempt;
        if (inLine) ++waiter.passedOver;
    }
}

// False if the mutex has to be looked at first.
bool MutexObject::LineUp(MutexWaiter& waiter) {
    MutexLine& line = MutexLine::Of(*this);
    const std::lock_guard lock(line.lock);
    Word seen = word_.load();
    std::optional<Word> next;
    do {
        next = mutex_word::LinedUp(seen);
        if (!next) return false;
    } while (!word_.compare_exchange_weak(seen, *next));
    waiter.call.store(MutexWaiter::None, std::memory_order_relaxed);
    line.Add(waiter);
    return true;
}

// None if the time is over and the thread was not called. A call that came before it left the line counts.
MutexWaiter::Call MutexObject::WaitInLine(MutexWaiter& waiter, const Deadline& deadline) {
    while (waiter.call.load(std::memory_order_acquire) == MutexWaiter::None)
        if (FutexWait(waiter.call, MutexWaiter::None, deadline) == FutexOutcome::TimedOut) {
            LeaveLine(waiter);
            break;
        }
    return static_cast<MutexWaiter::Call>(waiter.call.load(std::memory_order_acquire));
}

void MutexObject::LeaveLine(MutexWaiter& waiter) {
    MutexLine& line = MutexLine::Of(*this);
    const std::lock_guard lock(line.lock);
    if (waiter.call.load(std::memory_order_relaxed) != MutexWaiter::None) return;
    line.Remove(waiter);
    const bool isEmpty = line.FirstOf(*this) == nullptr;
    Word seen = word_.load();
    while (!word_.compare_exchange_weak(seen, mutex_word::WithLine(seen, isEmpty))) {
    }
}

bool MutexObject::Release() {
    ThreadObject& thread = ThreadObject::Current();
    if (!IsOwnedBy(thread)) return false;
    if (LeavesLast(thread)) GiveBack(0);
    return true;
}

bool MutexObject::ReleaseWithoutCall() {
    ThreadObject& thread = ThreadObject::Current();
    if (!IsOwnedBy(thread)) return false;
    if (LeavesLast(thread)) GiveBackWithoutCall();
    return true;
}

bool MutexObject::HasLine() const {
    return (word_.load(std::memory_order_relaxed) & mutex_word::QueuedMark) != 0;
}

void MutexObject::CallIfFree() {
    ThreadObject& thread = ThreadObject::Current();
    const Attempt attempt = TakeOrLook(thread, false);
    if (!IsTaken(attempt)) return;
    thread.heldMutexes.Remove(*this);
    GiveBack(attempt == Attempt::TakenAbandoned ? mutex_word::AbandonedMark : 0);
}

bool MutexObject::IsOwnedBy(const ThreadObject& thread) const {
    if ((word_.load(std::memory_order_relaxed) & mutex_word::OwnerMask) == mutex_word::OwnedBy(thread.Id()))
        return true;
    SetLastError(ERROR_NOT_OWNER);
    return false;
}

// Undoes one take of the owner's. True if it was the last one: the mutex has to be given back.
bool MutexObject::LeavesLast(ThreadObject& thread) {
    if (recursion_ != 0) {
        --recursion_;
        return false;
    }
    thread.heldMutexes.Remove(*this);
    return true;
}

void MutexObject::GiveBackWithoutCall() {
    Word seen = word_.load(std::memory_order_relaxed);
    while (!word_.compare_exchange_weak(seen, mutex_word::Freed(seen, 0))) {
    }
    if ((seen & mutex_word::ClosedMark) != 0) ReleaseReference();
}

// The caller holds a reference and has taken the mutex out of the owner's list.
void MutexObject::GiveBack(Word abandoned) {
    Word seen = word_.load(std::memory_order_relaxed);
    do {
        if (mutex_word::HasToCall(seen)) {
            seen = CallNext(abandoned);
            break;
        }
    } while (!word_.compare_exchange_weak(seen, mutex_word::Freed(seen, abandoned)));
    if ((seen & mutex_word::ClosedMark) != 0) ReleaseReference();
}

// Gives the mutex back to the first in line, or to all if meanwhile there is none. Returns the word before.
Word MutexObject::CallNext(Word abandoned) {
    MutexLine& line = MutexLine::Of(*this);
    const std::lock_guard lock(line.lock);
    MutexWaiter* first = line.FirstOf(*this);
    Word seen = word_.load();
    if (first == nullptr) {
        while (!word_.compare_exchange_weak(seen, mutex_word::Freed(seen, abandoned))) {
        }
        return seen;
    }
    line.Remove(*first);
    const bool isLast = line.FirstOf(*this) == nullptr;
    while (!word_.compare_exchange_weak(
        seen, mutex_word::Called(seen, abandoned, first->self, first->passedOver, isLast))) {
    }
    if (!mutex_word::IsHandedOver(first->passedOver))
        CallWaiter(*first, MutexWaiter::Look);
    else
        CallWaiter(*first, abandoned == 0 ? MutexWaiter::IsOwner : MutexWaiter::IsOwnerOfAbandoned);
    return seen;
}

// From here on no handle keeps the object, but the list of an owner may still lead to it. So an owner gets a
// reference of its own, which it gives up together with the mutex.
void MutexObject::OnLastHandleClosed() {
    AddReference();
    Word before = 0;
    {
        MutexLine& line = MutexLine::Of(*this);
        const std::lock_guard lock(line.lock);
        before = word_.load();
        while (!word_.compare_exchange_weak(before, mutex_word::Closed(before))) {
        }
        while (MutexWaiter* waiter = line.FirstOf(*this)) {
            line.Remove(*waiter);
            CallWaiter(*waiter, MutexWaiter::Look);
        }
    }
    const Word owner = before & mutex_word::OwnerMask;
    ThreadObject* thread = ThreadObject::CurrentIfKnown();
    const bool isOwn = thread != nullptr && owner == mutex_word::OwnedBy(thread->Id());
    if (isOwn) thread->heldMutexes.Remove(*this);
    if (owner == 0 || isOwn) ReleaseReference();
}

void MutexObject::Abandon() {
    const Ref<MutexObject> self = Ref<MutexObject>::Share(this);
    ThreadObject::Current().heldMutexes.Remove(*this);
    recursion_ = 0;
    GiveBack(mutex_word::AbandonedMark);
}
