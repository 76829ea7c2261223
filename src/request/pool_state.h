// What the threads of the pool share. Each mutex is recursive, unnamed, made at the start and closed by the
// tear-down.
//
// Order of taking: ListenerMutex, then ThreadCountMutex, ListenerHandleMutex or ClientListMutex. Nobody waits
// for ListenerMutex while holding another.
#pragma once

#include <atomic>

#include "platform/windows_api.h"

extern std::atomic<HANDLE>
    ListenerMutex;  // the listening role: select, recvfrom, rebinding, reload, PacketCount
extern std::atomic<HANDLE>
    ThreadCountMutex;  // MaxDaemonThreads of the live record: how many may still be started
extern std::atomic<HANDLE> ListenerHandleMutex;  // ListenerThread
extern std::atomic<HANDLE> ClientListMutex;      // the head of the client list

// A handle of the thread that last took the role. It belongs to that thread, which closes it at its end.
extern std::atomic<HANDLE> ListenerThread;

// The thread that the last pause froze.
extern std::atomic<HANDLE> PausedThread;

// Datagrams since the last check of the rate; the listener's alone.
extern DWORD PacketCount;

// The end of the pool: the first caller gets true, and from then on no thread takes the role.
bool BeginPoolEnd();
bool IsPoolEnding();

// The handles keep their values when the tear-down closes them: a thread that asks for one then is refused.
void MakePoolMutexes();

// Holds a mutex to the end of the scope, if it could be had within `milliseconds`; one whose owner has ended
// counts.
class PoolLock {
  public:
    PoolLock(HANDLE mutex, DWORD milliseconds);
    ~PoolLock();
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;

    bool IsHeld() const { return _held; }

  private:
    HANDLE _mutex;
    bool _held;
};
