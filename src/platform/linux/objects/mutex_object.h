// The mutex: recursive, timed, and left behind in order by an owner that ends. Within the layer only.
//
// To take and to give back a mutex that nobody else wants costs one atomic operation each and no system call.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/linux/objects/intrusive_list.h"
#include "platform/linux/objects/object.h"

class Deadline;
class ThreadObject;

class MutexObject final : public Object {
  public:
    static constexpr ObjectType kType = ObjectType::Mutex;

    MutexObject() : Object(kType, ObjectHome::Table) {}
    static void* operator new(std::size_t) { return AllocateInTable(); }
    static void operator delete(void* home) { FreeInTable(home); }

    DWORD Wait(DWORD milliseconds) override;

    // False and ERROR_NOT_OWNER for any other thread than the owner.
    bool Release();

    // Wakes all who wait, with a failure. An owner keeps what it has until it ends.
    void OnLastHandleClosed() override;

    // The owner, which is the calling thread, ends.
    void Abandon();

  private:
    enum class Attempt { Taken, TakenAbandoned, Busy, Closed };

    Attempt TryTake(ThreadObject& thread, bool mayTakeReserved, std::uint32_t& seen);
    Attempt TakeContended(ThreadObject& thread, const Deadline& deadline);
    void GiveBack(std::uint32_t abandoned);
    void WakeOne();

    std::atomic<std::uint32_t> word_{0};  // who owns it; see the .cpp
    std::uint32_t recursion_ = 0;         // takes beyond the first; the owner's
    std::atomic<std::uint32_t> waiters_{0};

  public:
    ListLinks<MutexObject> heldLinks;  // in the list of its owner, and only the owner's to touch
};
static_assert(sizeof(MutexObject) <= kObjectHomeSize);
