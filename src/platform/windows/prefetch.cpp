#include "platform/prefetch.h"

// Where a mutex lies is the system's affair.
void PrefetchMutex(void*) {}
