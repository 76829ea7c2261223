// Operations of the layer that a test watches or lets fail. A program that links operation_watch makes these
// calls of the logic by way of this unit, and so does the test itself.
#pragma once

#include <functional>
#include <set>

#include "platform/windows_api.h"

// The n-th call from now on, counted from 1, fails without being made; 0: none.
struct FailingCall {
    int number = 0;
    bool IsDue() { return number > 0 && --number == 0; }
};

struct OperationWatch {
    FailingCall heapAlloc, heapFree, createMutex;
    std::set<void*>* blocks = nullptr;          // collects the heap blocks that are in use
    std::function<void()> onHeapAlloc;          // before each
    std::function<void(DWORD number)> onEvent;  // before each that is reported
    std::function<void(const SERVICE_STATUS&)>
        onStatus;  // in place of the manager, which then needn't be there
};
extern OperationWatch Watched;

// Watches nothing any more at the end of a test.
struct WatchScope {
    ~WatchScope() { Watched = {}; }
};
