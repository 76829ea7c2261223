// Threads, and the tick count.
#pragma once

#include "platform/linux/faces/types.h"

using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID);

// The handle is signalled when the thread has ended; closing it lets the thread run on. `flags` is 0. The id
// is in place before the thread runs. Null and ERROR_NOT_ENOUGH_MEMORY if the system has no room for another
// thread.
HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                           LPVOID parameter, DWORD flags, LPDWORD threadId);

HANDLE WINAPI GetCurrentThread();  // a pseudo handle, needs no closing
DWORD WINAPI GetCurrentThreadId();

// Suspends counted: as many resumes as suspends let the thread go on. A thread freezes where it holds nothing
// of the layer's: at its next, or in its present, waiting call (waits, Sleep, select, recvfrom, messages).
// A mutex that such a wait would bring it stays free for others, and it tries again when it may go on.
// Both return the count before the call, or 0xFFFFFFFF: for a thread that has ended (ERROR_ACCESS_DENIED),
// and beyond 127.
DWORD WINAPI SuspendThread(HANDLE thread);
DWORD WINAPI ResumeThread(HANDLE thread);

void WINAPI Sleep(DWORD milliseconds);

// Milliseconds of the monotonic clock; wraps at 32 bits.
DWORD WINAPI GetTickCount();
