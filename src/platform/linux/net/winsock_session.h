// Whether Windows Sockets has been started, and the sockets that are open. Within the layer.
#pragma once

#include <atomic>

#include "platform/linux/faces/types.h"

extern std::atomic<unsigned> winsockStarts;  // that no WSACleanup has undone
bool RefuseUnstarted();                      // false

// False with WSANOTINITIALISED before the first WSAStartup and after the last WSACleanup. Costs one load.
inline bool IsWinsockStarted() {
    return winsockStarts.load(std::memory_order_acquire) != 0 || RefuseUnstarted();
}

// The last WSACleanup closes what has been noted as open and not as closed.
bool NoteOpenSocket(UINT_PTR socket);  // false without memory for it
void NoteClosedSocket(UINT_PTR socket);
