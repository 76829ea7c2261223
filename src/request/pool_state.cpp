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

}  // namespace

bool BeginPoolEnd() {
    return !Ending.exchange(true);
}

bool IsPoolEnding() {
    return Ending.load();
}

void MakePoolMutexes() {
    for (std::atomic<HANDLE>* mutex :
         {&ListenerMutex, &ThreadCountMutex, &ListenerHandleMutex, &ClientListMutex})
        *mutex = CreateMutexA(nullptr, FALSE, nullptr);
}

PoolLock::PoolLock(HANDLE mutex, DWORD milliseconds) : _mutex(mutex) {
    const DWORD waited = WaitForSingleObject(mutex, milliseconds);
    _held = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
}

PoolLock::~PoolLock() {
    if (_held) ReleaseMutex(_mutex);
}
