// A hint for a caller who has other things to do before: nothing depends on it.
#pragma once

// Starts to fetch from memory what it takes to wait on a mutex. Any handle will do, or none.
void PrefetchMutex(void* mutex);
