// A program that no service manager has started: what reaches it from outside.
#pragma once

#include "platform/linux/faces/types.h"

using PHANDLER_ROUTINE = BOOL(WINAPI*)(DWORD control);

inline constexpr DWORD CTRL_C_EVENT = 0;      // SIGINT
inline constexpr DWORD CTRL_CLOSE_EVENT = 2;  // SIGTERM

// With TRUE, has `handler` called, on a thread of its own, for these signals, which end the process no more.
// SIGHUP has the service of this process read its files anew. The control socket of the instance answers, if
// no other process has it: the program counts as a service that runs and can be stopped, which is
// CTRL_CLOSE_EVENT. To be called once, ahead of all other threads.
//
// With FALSE, ends that, when a handler that has been called has returned. False with an error number.
BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add);
