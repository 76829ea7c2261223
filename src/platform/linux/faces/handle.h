// Handles: values out of one process-wide table, each naming a counted object of one type.
//
// An operation checks the type of its handle before use and fails with 6 (ERROR_INVALID_HANDLE) on another.
// A value is not given out again soon after it was closed. Any thread may call any operation.
#pragma once

#include "platform/linux/faces/types.h"

inline constexpr DWORD DUPLICATE_CLOSE_SOURCE = 1;
inline constexpr DWORD DUPLICATE_SAME_ACCESS = 2;

// Closes a handle of any type; a pseudo handle is left as it is. Threads that wait on a mutex or an event
// wake with WAIT_FAILED once its last handle is gone; those that wait for the end of a thread wait on.
BOOL WINAPI CloseHandle(HANDLE handle);

// Makes a second handle of the same object. Within this process only; with GetCurrentThread() as the source
// it gives a real handle of the calling thread.
BOOL WINAPI DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, PHANDLE target,
                            DWORD access, BOOL inherit, DWORD options);

HANDLE WINAPI GetCurrentProcess();  // a pseudo handle, needs no closing
