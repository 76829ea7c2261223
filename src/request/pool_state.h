// What the threads of the pool share. Each mutex is recursive, unnamed, made at the start and closed by the
// tear-down.
//
// Order of taking: ListenerMutex, then ThreadCountMutex, then ClientListMutex. No thread waits for
// ListenerMutex while holding another.
#pragma once

#include <atomic>

#include "platform/windows_api.h"

extern std::atomic<HANDLE>
    ListenerMutex;  // the listening role: select, recvfrom, rebinding, reload, PacketCount
extern std::atomic<HANDLE>
    ThreadCountMutex;  // MaxDaemonThreads of the live record: how many may still be started
extern std::atomic<HANDLE> ClientListMutex;  // the head of the client list

// Datagrams since the last check of the rate; the listener's alone.
extern DWORD PacketCount;

// The pause. It stops the listener, whichever thread that is, where it holds nothing but the role: in front
// of the sockets. A suspended thread could hold a heap's lock or be one that has just given up the role.
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
