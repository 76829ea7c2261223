// What the threads of the pool share. Each mutex is recursive, unnamed, made at the start and closed by the
// tear-down.
//
// Order of taking: ListenerMutex, then ThreadCountMutex, ListenerHandleMutex or ClientListMutex. No thread
// waits for ListenerMutex while holding another.
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

// The thread that the last pause suspended.
extern std::atomic<HANDLE> PausedThread;

// Datagrams since the last check of the rate; the listener's alone.
extern DWORD PacketCount;

// The gate in front of the sockets. A pause suspends the thread in ListenerThread, which may be one that has
// just given up the role; the gate keeps its successor from reading, whichever thread that is.
//
// HoldReception returns true once no thread reads a datagram and none will before ResumeReception. False if a
// thread still was at it after `milliseconds`: then nothing is held. One thread at a time holds and resumes;
// any thread may resume for a stop.
bool HoldReception(DWORD milliseconds);
void ResumeReception();

// The listener's side: waits while reception is held, and keeps a pause waiting as long as it lives.
class ReceptionPass {
  public:
    ReceptionPass();
    ~ReceptionPass();
    ReceptionPass(const ReceptionPass&) = delete;
    ReceptionPass& operator=(const ReceptionPass&) = delete;
};

// The end of the pool: the first caller gets true, and from then on no thread takes the role.
bool BeginPoolEnd();
bool IsPoolEnding();

// The handles keep their values when the tear-down closes them: a thread that asks for one then is refused.
// False with the last error set if there is no memory for one.
bool MakePoolMutexes();

// Holds a mutex to the end of the scope, if it could be had within `milliseconds`; one whose owner has ended
// counts.
class PoolLock {
  public:
    PoolLock(HANDLE mutex, DWORD milliseconds);
    ~PoolLock();
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;

    bool IsHeld() const { return held_; }

  private:
    HANDLE mutex_;
    bool held_;
};
