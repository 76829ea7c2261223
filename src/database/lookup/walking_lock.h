// Holds at most one mutex, and lets go of it when it goes out of scope.
#pragma once

#include "platform/windows_api.h"

struct WalkingLock {
    HANDLE held = nullptr;

    WalkingLock() = default;
    ~WalkingLock() { Release(); }
    WalkingLock(const WalkingLock&) = delete;
    WalkingLock& operator=(const WalkingLock&) = delete;

    void Release() {
        if (held != nullptr) ReleaseMutex(held);
        held = nullptr;
    }

    // Lets go of the one before it waits for the other, so that no thread ever waits with a mutex in its
    // hand. After a failed wait nothing is held. An owner that ended without a release hands its mutex on.
    bool StepTo(HANDLE mutex) {
        Release();
        const DWORD waited = WaitForSingleObject(mutex, INFINITE);
        if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED) return false;
        held = mutex;
        return true;
    }
};
