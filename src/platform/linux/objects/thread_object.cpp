#include "platform/linux/objects/thread_object.h"

#include <pthread.h>

#include <mutex>
#include <system_error>
#include <unordered_map>

#include "platform/linux/faces/thread.h"
#include "platform/linux/objects/futex.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/system/system_error.h"
#include "platform/linux/system/undying.h"

namespace {

constexpr DWORD Failed = 0xFFFFFFFFu;
constexpr std::uint32_t MostSuspensions = 127;
constexpr DWORD TooManySuspensions = 156;
constexpr DWORD LastId = mutex_word::LastThreadId;

// The threads that haven't ended, by id.
class ThreadRegistry {
  public:
    Ref<ThreadObject> Create() {
        const std::lock_guard lock(mutex_);
        while (threads_.contains(nextId_))
            Advance();
        try {
            Ref<ThreadObject> thread = MakeObject<ThreadObject>(nextId_);
            if (!thread) return nullptr;
            threads_.emplace(nextId_, thread.Get());
            Advance();
            return thread;
        } catch (const std::bad_alloc&) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
    }

    // A thread is forgotten before its last reference goes, so what is found can be shared.
    Ref<ThreadObject> Find(DWORD id) {
        const std::lock_guard lock(mutex_);
        const auto found = threads_.find(id);
        return found == threads_.end() ? nullptr : Ref<ThreadObject>::Share(found->second);
    }

    void Forget(DWORD id) {
        const std::lock_guard lock(mutex_);
        threads_.erase(id);
    }

  private:
    void Advance() { nextId_ = nextId_ == LastId ? 4 : nextId_ + 4; }

    std::mutex mutex_;
    std::unordered_map<DWORD, ThreadObject*> threads_;
    DWORD nextId_ = 4;
};

// Never destroyed: threads may outlive main.
ThreadRegistry& Registry() {
    return Undying<ThreadRegistry>();
}

// A key rather than a thread_local object: its destructor runs after those of all thread_local objects, which
// may still use the layer, and not on the main thread when that leaves main while others work on.
pthread_key_t EndKey(void (*endOfThread)(void*)) {
    static const pthread_key_t key = [endOfThread] {
        pthread_key_t made{};
        if (const int error = pthread_key_create(&made, endOfThread); error != 0)
            throw std::system_error(error, std::generic_category(), "pthread_key_create");
        return made;
    }();
    return key;
}

}  // namespace

constinit thread_local ThreadObject* ThreadObject::current_ = nullptr;

void ThreadObject::EndOfThread(void* object) {
    auto* thread = static_cast<ThreadObject*>(object);
    thread->End();
    current_ = nullptr;
    thread->ReleaseReference();
}

ThreadObject& ThreadObject::TakeUpCurrent() {
    Ref<ThreadObject> thread = Registry().Create();
    if (!thread) throw std::bad_alloc();
    Adopt(std::move(thread));
    return *current_;
}

Ref<ThreadObject> ThreadObject::Create() {
    return Registry().Create();
}

Ref<ThreadObject> ThreadObject::Find(DWORD id) {
    return Registry().Find(id);
}

Ref<ThreadObject> ThreadObject::FromHandle(HANDLE handle) {
    if (IsPseudoHandle(handle)) return Ref<ThreadObject>::Share(&Current());
    return LookUpObject<ThreadObject>(handle);
}

void ThreadObject::Adopt(Ref<ThreadObject> thread) {
    if (const int error = pthread_setspecific(EndKey(EndOfThread), thread.Get()); error != 0)
        throw std::system_error(error, std::generic_category(), "pthread_setspecific");
    current_ = thread.Detach();
}

// Whoever sees the end finds the mutexes given up and the id gone.
void ThreadObject::End() {
    if (this == CurrentIfKnown()) KeepPromise();
    while (MutexObject* mutex = heldMutexes.First())
        mutex->Abandon();
    Registry().Forget(id_);
    hasEnded_.store(true);
    ended_.Set();
}

DWORD ThreadObject::Suspend() {
    if (hasEnded_.load()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return Failed;
    }
    std::uint32_t count = suspendCount_.load();
    do {
        if (count == MostSuspensions) {
            SetLastError(TooManySuspensions);
            return Failed;
        }
    } while (!suspendCount_.compare_exchange_weak(count, count + 1));
    return count;
}

DWORD ThreadObject::Resume() {
    std::uint32_t count = suspendCount_.load();
    do {
        if (count == 0) return 0;
    } while (!suspendCount_.compare_exchange_weak(count, count - 1));
    if (count == 1) FutexWake(suspendCount_, AllSleepers);
    return count;
}

void ThreadObject::Freeze() {
    while (const std::uint32_t count = suspendCount_.load())
        FutexWait(suspendCount_, count, Deadline(INFINITE));
}
