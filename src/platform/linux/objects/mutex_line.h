// The threads that stand in line for the mutexes. Within the layer only.
//
// A mutex has no room for a line of its own, so the lines of many share a list and its lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "platform/linux/objects/intrusive_list.h"
#include "platform/linux/objects/mutex_word.h"

class MutexObject;

// On the stack of the thread that waits. Whoever calls it out of the line writes `call` last: from then on
// the thread may be gone.
struct MutexWaiter {
    enum Call : std::uint32_t { None, Look, IsOwner, IsOwnerOfAbandoned };

    const MutexObject& mutex;
    const mutex_word::Word self;
    unsigned passedOver = 0;
    std::atomic<std::uint32_t> call{None};
    ListLinks<MutexWaiter> links{};
};

class MutexLine {
  public:
    // The one in which the mutex has its waiters.
    static MutexLine& Of(const MutexObject& mutex);

    std::mutex lock;  // guards what follows, and QueuedMark of the mutexes

    // Null if none waits for the mutex.
    MutexWaiter* FirstOf(const MutexObject& mutex) const;
    // A thread that has been passed over stands in front.
    void Add(MutexWaiter& waiter);
    void Remove(MutexWaiter& waiter) { waiters_.Remove(waiter); }

  private:
    IntrusiveList<MutexWaiter, &MutexWaiter::links> waiters_;
};

// Wakes the thread of a waiter that the caller, who holds the line's lock, has removed.
void CallWaiter(MutexWaiter& waiter, MutexWaiter::Call call);
