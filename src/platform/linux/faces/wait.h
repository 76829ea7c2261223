// Mutexes, events and waiting.
//
// A mutex is recursive and belongs to the thread that waited for it; when its owner ends, the next waiter
// gets it with WAIT_ABANDONED. Time-outs run on the monotonic clock.
#pragma once

#include "platform/linux/faces/types.h"

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_IO_COMPLETION = 0xC0;
inline constexpr DWORD WAIT_TIMEOUT = 0x102;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;

// Names are not offered: a name other than null fails with ERROR_CALL_NOT_IMPLEMENTED.
HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCSTR name);
BOOL WINAPI ReleaseMutex(HANDLE mutex);  // by another than the owner: ERROR_NOT_OWNER

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                           LPCSTR name);
BOOL WINAPI SetEvent(HANDLE event);
BOOL WINAPI ResetEvent(HANDLE event);

// Waits for a mutex, an event or the end of a thread.
DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds);
// The layer queues no asynchronous procedure calls, so an alertable wait is an ordinary one.
DWORD WINAPI WaitForSingleObjectEx(HANDLE object, DWORD milliseconds, BOOL alertable);
