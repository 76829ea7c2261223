#include "platform/lazy_release.h"

#include <sched.h>

#include <ctime>

#include "platform/linux/objects/mutex_object.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/system/system_error.h"

constinit thread_local Promise promise{};

namespace {

constexpr long Turn = 100;  // milliseconds

long CoarseMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

// Whether waiters are due to get the mutex though the calling thread doesn't need them.
bool IsTurnOver() {
    thread_local long begun = 0;
    const long now = CoarseMilliseconds();
    if (now - begun < Turn) return false;
    begun = now;
    return true;
}

bool HasSeveralProcessors() {
    static const bool several = [] {
        cpu_set_t allowed;
        return sched_getaffinity(0, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) > 1;
    }();
    return several;
}

}  // namespace

BOOL ReleaseMutexLazily(HANDLE handle, bool moreToDo) try {
    const Ref<MutexObject> mutex = LookUpObject<MutexObject>(handle);
    if (!mutex) return FALSE;
    if (!mutex->HasLine()) return mutex->Release();
    if (IsTurnOver() || (moreToDo && HasSeveralProcessors())) return mutex->Release();
    KeepPromise();  // an earlier one
    if (!mutex->ReleaseWithoutCall()) return FALSE;
    promise = {.handle = handle, .mutex = mutex.Get()};
    return TRUE;
} catch (...) {
    SetLastError(CaughtError());
    return FALSE;
}

void ExpectHoldUp() {
    KeepPromise();
}

// A mutex whose handles are closed has called all who waited.
void KeepPromiseNow() {
    const DWORD lastError = GetLastError();
    const HANDLE handle = promise.handle;
    promise = {};
    if (const Ref<MutexObject> mutex = LookUpObject<MutexObject>(handle); mutex) mutex->CallIfFree();
    SetLastError(lastError);
}
