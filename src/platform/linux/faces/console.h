// The signals of a program that no service manager has started.
#pragma once

#include "platform/linux/faces/types.h"

using PHANDLER_ROUTINE = BOOL(WINAPI*)(DWORD control);

inline constexpr DWORD CTRL_C_EVENT = 0;      // SIGINT
inline constexpr DWORD CTRL_CLOSE_EVENT = 2;  // SIGTERM

// Has `handler` called, on a thread of its own, for these signals, which end the process no more. SIGHUP has
// the service of this process read its files anew. To be called once, ahead of all other threads; `add` is
// TRUE. False with an error number.
BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add);
