// Installing the service with the service manager, and removing it.
#pragma once

#include "platform/windows_api.h"

inline constexpr char ServiceName[] = "Quillon";

// Creates the service, its event source and its parameters with their install values. Returns 1, or 0 if a
// step failed; what was done before it stays, and the next call goes on from there. The service isn't
// started.
int InstallService(SC_HANDLE manager);

// Stops the service if it runs, without waiting for its end, and deletes it with its event source; the
// parameters stay. Returns 1, or 0 with `message`, a text that lives for ever.
int RemoveService(SC_HANDLE manager, const char** message);
