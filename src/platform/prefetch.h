// A hint for a caller who has other things to do before: nothing depends on it.
#pragma once

#include "platform/windows_api.h"

// Starts to fetch from memory what it takes to wait on a mutex. Any value will do.
void PrefetchMutex(HANDLE mutex);
