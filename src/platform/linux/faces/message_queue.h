// Thread messages: a first-in first-out queue per thread, each message with the tick count of its posting.
#pragma once

#include "platform/linux/faces/types.h"

struct POINT {
    LONG x;
    LONG y;
};

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;  // GetTickCount() at the posting
    POINT pt;
};
using LPMSG = MSG*;

// A thread has a queue from its creation to its end. To a thread that has ended, or never was: false and
// ERROR_INVALID_THREAD_ID. 10,000 messages may wait; one more is refused with 1816.
BOOL WINAPI PostThreadMessageA(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);

// Returns when a message is there that no WaitMessage has announced yet.
BOOL WINAPI WaitMessage();

// Takes the first message, waiting for one if need be. `window` is -1 or null and the filters are 0: any
// other combination fails with ERROR_CALL_NOT_IMPLEMENTED and -1. False for message 0x12, the request to
// quit.
BOOL WINAPI GetMessageA(LPMSG message, HWND window, UINT filterMin, UINT filterMax);
