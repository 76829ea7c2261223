// Where a suspended thread stops. Within the layer only.
#pragma once

#include "platform/linux/objects/thread_object.h"

// Called by every waiting operation of the layer before it blocks and again before it returns, with no lock
// of the layer held. While the calling thread's suspend count isn't 0 it doesn't return. Costs one load
// otherwise.
inline void FreezeWhileSuspended() {
    if (ThreadObject* thread = ThreadObject::CurrentIfKnown(); thread != nullptr)
        thread->FreezeWhileSuspended();
}

// Whether the calling thread would freeze now.
inline bool IsSuspended() {
    const ThreadObject* thread = ThreadObject::CurrentIfKnown();
    return thread != nullptr && thread->IsSuspended();
}
