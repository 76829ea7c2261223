// The one object of a type that is never destroyed: threads may use it while the process ends. Within the
// layer only.
#pragma once

#include <cstddef>
#include <new>

// Made at the first call, in memory that is there from the start: it can't fail for want of any.
template <class T>
T& Undying() {
    alignas(T) static std::byte place[sizeof(T)];
    static T& object = *new (place) T;
    return object;
}
