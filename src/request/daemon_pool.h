// The pool of identical daemon threads that take turns at the sockets.
//
// One thread at a time is the listener: it owns ListenerMutex, waits on the sockets, reads one datagram and
// passes the role on before it works on that datagram. The pool grows by one thread when datagrams come fast
// and shrinks when a thread can't get the role back in time. There is no queue between threads: a datagram
// waits in its socket.
#pragma once

#include "platform/windows_api.h"
#include "request/interfaces.h"

// What a thread of the pool brings along. All of it outlives the loop and the end of the service.
struct PoolThread {
    HANDLE self;                  // a real handle of the thread, which other threads can use
    AddressWatch* watch;          // armed for the thread that started the service, else unarmed
    LPTHREAD_START_ROUTINE body;  // what a further thread runs, with a null parameter
};

enum class LoopEnd {
    RoleLost,  // the role couldn't be had in time, or the service is ending; the place in the pool is given
               // back
    Stopped,   // a stop has closed the sockets; the caller has the role and ends the service
    Failed,    // the sockets can't be watched, which has been reported; the caller has the role, as above
};

// Takes turns at the sockets until one of these ends comes.
LoopEnd RunDaemonLoop(const PoolThread& thread);

// Whether datagrams came fast enough that a further thread is worth its start: fewer than `sensitivity`
// milliseconds have passed since the last check, across the wrap of the tick count.
bool IsRateHigh(DWORD now, DWORD lastTrip, DWORD sensitivity);

// The packet length of a datagram: raised to `minimum` if the block has room for that.
LONG RaisePacketLength(LONG length, DWORD minimum, DWORD blockSize);
