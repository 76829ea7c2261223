#include "request/pool_state.h"

std::atomic<HANDLE> ListenerMutex;
std::atomic<HANDLE> ThreadCountMutex;
std::atomic<HANDLE> ListenerHandleMutex;
std::atomic<HANDLE> ClientListMutex;
std::atomic<HANDLE> ListenerThread;
std::atomic<HANDLE> PausedThread;
DWORD PacketCount;

namespace {

std::atomic<bool> Ending{false};

// Each side sets its own before it looks at the other's, so at least one of them sees the other.
std::atomic<bool> ReceptionHeld{false};
std::atomic<bool> Receiving{false};

}  // namespace

bool BeginPoolEnd() {
    return !Ending.exchange(true);
}

bool IsPoolEnding() {
    return Ending.load();
}

bool MakePoolMutexes() {
    for (std::atomic<HANDLE>* mutex :
         {&ListenerMutex, &ThreadCountMutex, &ListenerHandleMutex, &ClientListMutex}) {
        *mutex = CreateMutexA(nullptr, FALSE, nullptr);
        if (*mutex == nullptr) return false;
    }
    return true;
}

bool HoldReception(DWORD milliseconds) {
    ReceptionHeld = true;
    for (const DWORD begin = GetTickCount(); Receiving; Sleep(1)) {
        if (GetTickCount() - begin < milliseconds) continue;
        ResumeReception();
        return false;
    }
    return true;
}

void ResumeReception() {
    ReceptionHeld = false;
    ReceptionHeld.notify_all();
}

ReceptionPass::ReceptionPass() {
    for (Receiving = true; ReceptionHeld; Receiving = true) {
        Receiving = false;
        ReceptionHeld.wait(true);
    }
}

ReceptionPass::~ReceptionPass() {
    Receiving = false;
}

PoolLock::PoolLock(HANDLE mutex, DWORD milliseconds) : mutex_(mutex) {
    const DWORD waited = WaitForSingleObject(mutex, milliseconds);
    held_ = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
}

PoolLock::~PoolLock() {
    if (held_) ReleaseMutex(mutex_);
}
