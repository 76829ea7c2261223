// A thread as the layer knows it: its id, its suspend count, its messages and the mutexes that it holds.
// Within the layer only.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/linux/objects/intrusive_list.h"
#include "platform/linux/objects/mutex_object.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/objects/posted_messages.h"
#include "platform/linux/objects/signal_state.h"

class ThreadObject final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Thread;

    // The calling thread. One that the layer didn't create is taken up at its first call.
    static ThreadObject& Current() { return current_ != nullptr ? *current_ : TakeUpCurrent(); }
    // Null if the layer has never heard of the calling thread.
    static ThreadObject* CurrentIfKnown() { return current_; }

    // A thread that doesn't run yet, with an id under which it is found; null and ERROR_NOT_ENOUGH_MEMORY.
    static Ref<ThreadObject> Create();
    // The thread with that id that hasn't ended; null if there is none.
    static Ref<ThreadObject> Find(DWORD id);
    // The thread that a handle or GetCurrentThread() names; null and ERROR_INVALID_HANDLE.
    static Ref<ThreadObject> FromHandle(HANDLE handle);

    // Whether it is what GetCurrentThread() returns.
    static bool IsPseudoHandle(HANDLE handle) { return reinterpret_cast<LONG_PTR>(handle) == -2; }

    explicit ThreadObject(DWORD id) : Object(OwnType), id_(id) {}

    // A multiple of 4, and not given out again before all other numbers have been.
    DWORD Id() const { return id_; }

    // The calling thread becomes this one, and ends it when it ends.
    static void Adopt(Ref<ThreadObject> thread);
    // Gives up the mutexes and the id, and signals the end. By the thread itself, or for one that never ran.
    void End();

    DWORD Wait(DWORD milliseconds) override { return ended_.Wait(milliseconds); }

    // As SuspendThread and ResumeThread.
    DWORD Suspend();
    DWORD Resume();
    bool IsSuspended() const { return suspendCount_.load() != 0; }
    void FreezeWhileSuspended() {
        if (IsSuspended()) Freeze();
    }

    PostedMessages messages;
    IntrusiveList<MutexObject, &MutexObject::heldLinks> heldMutexes;  // the thread's own to touch

  private:
    static ThreadObject& TakeUpCurrent();
    static void EndOfThread(void* object);
    void Freeze();

    static constinit thread_local ThreadObject* current_;  // constinit, so that it is read without a call

    const DWORD id_;
    std::atomic<std::uint32_t> suspendCount_{0};
    SignalState ended_{true, false};
    std::atomic<bool> hasEnded_{false};
};
