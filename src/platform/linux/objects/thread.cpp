#include "platform/linux/faces/thread.h"

#include <pthread.h>

#include <chrono>
#include <memory>
#include <new>
#include <thread>

#include "platform/linux/faces/handle.h"
#include "platform/linux/objects/freeze_point.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/objects/thread_object.h"
#include "platform/linux/system/system_error.h"

namespace {

struct ThreadStart {
    Ref<ThreadObject> thread;
    LPTHREAD_START_ROUTINE routine;
    LPVOID parameter;
};

void* RunThread(void* argument) {
    std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
    const LPTHREAD_START_ROUTINE routine = start->routine;
    LPVOID parameter = start->parameter;
    ThreadObject::Adopt(std::move(start->thread));
    start.reset();
    FreezeWhileSuspended();
    routine(parameter);
    return nullptr;
}

// Returns an error number of the system. A stack size below the system's own is no wish for a smaller stack.
int StartDetached(SIZE_T stackSize, ThreadStart* start) {
    pthread_attr_t attributes;
    if (const int error = pthread_attr_init(&attributes); error != 0) return error;
    int error = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    SIZE_T usual = 0;
    if (error == 0) error = pthread_attr_getstacksize(&attributes, &usual);
    if (error == 0 && stackSize > usual) error = pthread_attr_setstacksize(&attributes, stackSize);
    pthread_t id{};
    if (error == 0) error = pthread_create(&id, &attributes, RunThread, start);
    pthread_attr_destroy(&attributes);
    return error;
}

}  // namespace

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                           LPVOID parameter, DWORD flags, LPDWORD threadId) {
    if (start == nullptr || flags != 0) {
        SetLastError(start == nullptr ? ERROR_INVALID_PARAMETER : ERROR_CALL_NOT_IMPLEMENTED);
        return nullptr;
    }
    const Ref<ThreadObject> thread = ThreadObject::Create();
    if (!thread) return nullptr;
    const HANDLE handle = PublishObject(thread);
    std::unique_ptr<ThreadStart> request(new (std::nothrow) ThreadStart{thread, start, parameter});
    if (threadId != nullptr) *threadId = thread->Id();  // the new thread may already look at it
    const int error = handle == nullptr || !request ? ENOMEM : StartDetached(stackSize, request.get());
    if (error == 0) {
        static_cast<void>(request.release());  // it is the new thread's
        return handle;
    }
    if (handle != nullptr) CloseHandle(handle);
    thread->End();
    SetLastErrorFrom(error);
    return nullptr;
}

HANDLE WINAPI GetCurrentThread() {
    return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2));
}

DWORD WINAPI GetCurrentThreadId() try { return ThreadObject::Current().Id(); } catch (...) {
    SetLastError(CaughtError());
    return 0;
}

DWORD WINAPI SuspendThread(HANDLE handle) try {
    const Ref<ThreadObject> thread = ThreadObject::FromHandle(handle);
    if (!thread) return 0xFFFFFFFFu;
    const DWORD count = thread->Suspend();
    if (thread.Get() == ThreadObject::CurrentIfKnown()) FreezeWhileSuspended();
    return count;
} catch (...) {
    SetLastError(CaughtError());
    return 0xFFFFFFFFu;
}

DWORD WINAPI ResumeThread(HANDLE handle) try {
    const Ref<ThreadObject> thread = ThreadObject::FromHandle(handle);
    return thread ? thread->Resume() : 0xFFFFFFFFu;
} catch (...) {
    SetLastError(CaughtError());
    return 0xFFFFFFFFu;
}

void WINAPI Sleep(DWORD milliseconds) {
    FreezeWhileSuspended();
    KeepPromise();
    if (milliseconds == INFINITE)
        for (;;)
            std::this_thread::sleep_for(std::chrono::hours(24));
    if (milliseconds == 0)
        std::this_thread::yield();
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    FreezeWhileSuspended();
}

DWORD WINAPI GetTickCount() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
