// The pool of identical daemon threads that take turns at the sockets.
//
// One thread at a time is the listener: it owns ListenerMutex, waits on the sockets, reads one datagram and
// passes the role on before it works on that datagram. The pool grows by one thread when datagrams come fast
// and shrinks when a thread can't get the role back in time. There is no queue between threads: a datagram
// waits in its socket.
#pragma once

#include "platform/windows_api.h"

// The body of every thread of the pool. `first` is non-null for the one thread that starts the service;
// whichever thread has the role when the service ends tears it down. Answers 0.
DWORD WINAPI DaemonThread(LPVOID first);

// Whether `count` datagrams came fast enough that a further thread is worth its start: fewer than
// `sensitivity` milliseconds since the last check, across the wrap of the tick count.
bool IsRateHigh(DWORD now, DWORD lastTrip, DWORD sensitivity);

// The packet length of a datagram: raised to `minimum` if the block has room for that.
LONG RaisePacketLength(LONG length, DWORD minimum, DWORD blockSize);
