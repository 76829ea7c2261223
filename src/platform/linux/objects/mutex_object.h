// The mutex: recursive, timed, and left behind in order by an owner that ends. Within the layer only.
//
// To take and to give back a mutex that no other thread wants costs one atomic operation each and no system
// call.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/linux/objects/intrusive_list.h"
#include "platform/linux/objects/mutex_line.h"
#include "platform/linux/objects/mutex_word.h"
#include "platform/linux/objects/object.h"

class Deadline;
class ThreadObject;

class MutexObject final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Mutex;

    MutexObject() : Object(OwnType, ObjectHome::Table) {}
    static void* operator new(std::size_t) { return AllocateInTable(); }
    static void operator delete(void* home) { FreeInTable(home); }

    DWORD Wait(DWORD milliseconds) override;

    // False and ERROR_NOT_OWNER for any other thread than the owner.
    bool Release();

    // As Release, but no thread in line is called. The calling thread has promised to look at the mutex
    // again: to take it, or by CallIfFree.
    bool ReleaseWithoutCall();

    // Calls the first thread in line if the mutex is free. If it isn't, its owner will.
    void CallIfFree();

    // Whether threads stand in line, at this moment.
    bool HasLine() const;

    // Wakes all who wait, with a failure. An owner keeps what it has until it ends.
    void OnLastHandleClosed() override;

    // The owner, which is the calling thread, ends.
    void Abandon();

  private:
    bool TakeAtOnce(ThreadObject& thread);
    DWORD WaitForIt(ThreadObject& thread, DWORD milliseconds);
    mutex_word::Attempt TakeOrLook(ThreadObject& thread, bool woken);
    mutex_word::Attempt TakeContended(ThreadObject& thread, const Deadline& deadline);
    bool LineUp(MutexWaiter& waiter);
    void LeaveLine(MutexWaiter& waiter);
    MutexWaiter::Call WaitInLine(MutexWaiter& waiter, const Deadline& deadline);
    bool IsOwnedBy(const ThreadObject& thread) const;
    bool LeavesLast(ThreadObject& thread);
    void GiveBack(mutex_word::Word abandoned);
    void GiveBackWithoutCall();
    mutex_word::Word CallNext(mutex_word::Word abandoned);

    std::atomic<mutex_word::Word> word_{0};
    std::uint32_t recursion_ = 0;  // takes beyond the first; the owner's

  public:
    ListLinks<MutexObject> heldLinks;  // in the list of its owner, and only the owner's to touch
};
static_assert(sizeof(MutexObject) <= ObjectHomeSize);
