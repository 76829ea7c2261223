// The program as the service manager and the operator see it.
#pragma once

#include "platform/windows_api.h"

// The entry of the program: a switch in argv[1], or none for the service manager. Returns the exit code.
int ProgramMain(int argc, char* argv[]);

// The service's entry, called by the dispatcher on a thread of its own. Returns when the service has ended.
void WINAPI ServiceMain(DWORD argumentCount, LPSTR* arguments);

// Called on the dispatcher's thread, one control at a time. A pause waits for the thread at the sockets, a
// second or so at most, and for ListenerHandleMutex; a stop waits for nothing.
void WINAPI ServiceControlHandler(DWORD control);
