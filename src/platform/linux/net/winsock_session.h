// Whether Windows Sockets has been started, and the sockets that are open. Within the layer.
#pragma once

#include "platform/linux/faces/types.h"

// False with WSANOTINITIALISED before the first WSAStartup and after the last WSACleanup. Costs one load.
bool IsWinsockStarted();

// The last WSACleanup closes what has been noted as open and not as closed.
bool NoteOpenSocket(UINT_PTR socket);  // false without memory for it
void NoteClosedSocket(UINT_PTR socket);
