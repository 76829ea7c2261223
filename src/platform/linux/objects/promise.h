// What a thread owes that has given a mutex back without a call to those who wait for it: it looks at the
// mutex once more. Within the layer only.
//
// A thread has one promise at a time. It keeps it by taking the mutex again, or, before anything that may
// hold it up, by KeepPromise.
#pragma once

#include "platform/linux/faces/types.h"

struct Promise {
    HANDLE handle;      // null: none
    const void* mutex;  // its object, only to be compared with
};

extern constinit thread_local Promise promise;

void KeepPromiseNow();

// Called before the layer sleeps, or waits for a file or a device, with no lock of the layer held. Costs a
// load if there is none.
inline void KeepPromise() {
    if (promise.handle != nullptr) [[unlikely]]
        KeepPromiseNow();
}
