// Giving a mutex back without waking a waiter for it, by a thread that will soon want it again.
//
// A thread that serves short turns pays for a wake-up at each of them, though the thread that it wakes comes
// too late: the mutex is taken again by then. Here the waiter is woken only when the thread doesn't come back
// soon.
#pragma once

#include "platform/windows_api.h"

// As ReleaseMutex, but for the waiter: the first one is woken when the calling thread next takes another
// wait, reads or writes a file, calls ExpectHoldUp or ends, unless it has taken the mutex again by then. Any
// other thread that comes meanwhile may take the mutex. It is woken at once, as by ReleaseMutex,
// - if `moreToDo`, which says that a waiter had something to do right away, and the process has more than one
//   processor to do it on;
// - if the calling thread last did so more than a tenth of a second ago, so that waiters get their turns.
// The caller does nothing that takes long between this and the next of these, but for what it announces by
// ExpectHoldUp.
BOOL ReleaseMutexLazily(HANDLE mutex, bool moreToDo);

// The calling thread may be held up from here on, by something of which the system's operations don't know.
void ExpectHoldUp();
