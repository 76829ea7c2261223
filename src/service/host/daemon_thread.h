// The body of a thread of the pool, from the start of the service to its end.
#pragma once

#include "platform/windows_api.h"

// `first` is non-null for the one thread that starts the service; whichever thread has the role when the
// service ends tears it down. Returns 0.
DWORD WINAPI DaemonThread(LPVOID first);
