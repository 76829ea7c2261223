#include "request/daemon_pool.h"

#include <atomic>

#include "diagnostics/messages.h"

#include "database/lookup/find_client.h"
#include "diagnostics/event_report.h"
#include "platform/arrivals.h"
#include "platform/lazy_release.h"
#include "request/interfaces.h"
#include "request/pool_state.h"
#include "request/process_request.h"
#include "request/reload.h"
#include "service/generation.h"
#include "service/server_parameters.h"

namespace {

constexpr DWORD ListenerHandleWait = 5000;
constexpr DWORD NoMemoryPause = 50;

// What a thread of the pool has of its own.
struct Daemon {
    PoolThread thread;
    DWORD lastTrip = GetTickCount();
    BoundSocketsCopy bound = {};
    fd_set readable = {};
};

enum class Turn {
    Passed,   // the role is given up
    Kept,     // still the listener
    Stopped,  // the stop has closed the sockets; still the listener
    Failed,   // the sockets can't be watched; still the listener
};

// The thread that follows the address changes waits for the role.
std::atomic<bool> FollowerWaits{false};

bool FollowsAddresses(const Daemon& daemon) {
    return daemon.thread.watch->overlapped.hEvent != UnarmedEvent();
}

// False if the wait timed out, or the service ends: the thread has no business here any more. An abandoned
// mutex counts as taken. Without the thread that follows the addresses the service would go deaf at their
// next change, so that one waits as long as it takes.
bool TakeRole(const Daemon& daemon) {
    const bool follows = FollowsAddresses(daemon);
    if (follows) FollowerWaits = true;
    const DWORD waited = WaitForSingleObject(ListenerMutex, follows ? INFINITE : RoleTimeoutMilliseconds());
    if (follows) FollowerWaits = false;
    return waited != WAIT_TIMEOUT && !IsPoolEnding();
}

bool IsWantedByFollower(const Daemon& daemon) {
    return FollowerWaits && !FollowsAddresses(daemon);
}

// Gives the role to the thread that follows the addresses, and lets it be the first to ask for it.
Turn PassToFollower() {
    constexpr int Patience = 50;
    ReleaseMutex(ListenerMutex);
    for (int i = 0; i < Patience && FollowerWaits; ++i)
        Sleep(1);
    return Turn::Passed;
}

void AnnounceListener(HANDLE self) {
    if (ListenerThread.load() == self) return;  // it was the last one that had the role
    const PoolLock hold(ListenerHandleMutex, ListenerHandleWait);
    ListenerThread = self;
}

// Waits until a datagram is there, or the sockets fail. Looks after the addresses at least once a second. 0
// if nothing comes and another thread has to look after them.
int WaitForDatagram(Daemon* daemon) {
    for (;;) {
        { const ReceptionPass untilResumed; }
        if (AddressChanged(&daemon->thread.watch->overlapped)) {
            BindAllInterfaces();
            ArmAddressChange(&daemon->thread.watch->overlapped, &daemon->thread.watch->handle);
        }
        RefreshBoundSockets(&daemon->bound);
        FD_ZERO(&daemon->readable);
        for (DWORD i = 0; i < daemon->bound.count; ++i)
            FD_SET(daemon->bound.sockets[i], &daemon->readable);
        timeval second = {};
        second.tv_sec = 1;
        const int ready = select(0, &daemon->readable, nullptr, nullptr, &second);
        if (ready != 0 || IsWantedByFollower(*daemon)) return ready;
    }
}

// A thread that can't be started costs its place in the count.
void StartFurtherThread(LPTHREAD_START_ROUTINE body) {
    const PoolLock hold(ThreadCountMutex, INFINITE);
    if (LiveParameters.MaxDaemonThreads == 0) return;
    const HANDLE thread = CreateThread(nullptr, 0, body, nullptr, 0, nullptr);
    if (thread != nullptr) CloseHandle(thread);
    --LiveParameters.MaxDaemonThreads;
}

void CheckRate(Daemon* daemon) {
    const DWORD now = GetTickCount();
    if (++PacketCount != LiveParameters.PacketTripRate) return;
    if (IsRateHigh(now, daemon->lastTrip, LiveParameters.DaemonSensitivity))
        StartFurtherThread(daemon->thread.body);
    PacketCount = 0;
    daemon->lastTrip = now;
}

bool FindReadable(Daemon* daemon, RequestContext* context) {
    for (DWORD i = daemon->bound.count; i-- > 0;) {
        if (!FD_ISSET(daemon->bound.sockets[i], &daemon->readable)) continue;
        context->interfaceIndex = i;
        context->socket = daemon->bound.sockets[i];
        return true;
    }
    return false;
}

// A zero-filled block for one datagram, with a use of the generation that owns its heap.
bool AllocateDatagramBlock(RequestContext* context) {
    Generation* const generation = PinAsListener();
    const ServerParameters& record = RecordOf(generation);
    context->packet =
        static_cast<BootPacket*>(HeapAlloc(record.ClientHeap, HEAP_ZERO_MEMORY, record.Daemonblksize));
    if (context->packet == nullptr) {
        ReleaseGeneration(generation);
        return false;
    }
    context->blockOwner = generation;
    return true;
}

enum class Received { Datagram, Nothing, SocketClosed, NoSocket, NoMemory };

void Anticipate(const Arrival* arrivals, std::size_t count, const void* clientList) {
    AnticipateClients(static_cast<const ClientEntry*>(clientList), arrivals, count);
}

Received ReceiveDatagram(RequestContext* context) {
    const ServerParameters& record = RecordOf(context->blockOwner);
    const DWORD size = record.Daemonblksize;
    const ArrivalWatch watch(Anticipate, record.ClientList);
    int fromLength = sizeof context->from;
    context->length =
        recvfrom(context->socket, reinterpret_cast<char*>(context->packet), static_cast<int>(size), 0,
                 reinterpret_cast<sockaddr*>(&context->from), &fromLength);
    if (context->length > 0) return Received::Datagram;
    if (context->length == 0) return Received::Nothing;
    const int error = WSAGetLastError();
    if (error == WSAENOTSOCK) return Received::SocketClosed;
    if (error == WSAEMSGSIZE) {
        context->length = static_cast<LONG>(size);
        return Received::Datagram;
    }
    LogEventError(EVENT_RECEIVE_FAILED, static_cast<DWORD>(error));
    return Received::Nothing;
}

// The datagram is read: from here on the role is any other thread's who gets at it before this one is back.
void ServeDatagram(RequestContext* context) {
    ReleaseMutexLazily(ListenerMutex, HaveMoreArrived());
    const ServerParameters& record = RecordOf(context->blockOwner);
    context->length = RaisePacketLength(context->length, record.MinResponseSize, record.Daemonblksize);
    ProcessBootRequest(context);
}

// Reads what has come for the caller, who is the listener. Anything but Datagram leaves nothing in `context`.
Received TakeDatagram(Daemon* daemon, RequestContext* context) {
    const ReceptionPass pass;
    if (!FindReadable(daemon, context)) return Received::NoSocket;
    if (!AllocateDatagramBlock(context)) return Received::NoMemory;
    const Received received = ReceiveDatagram(context);
    if (received != Received::Datagram) ReleaseRequest(context);
    return received;
}

void HandleDatagram(RequestContext* context) {
    if (IsReloadRequest(context->packet) && MayReload(RecordOf(context->blockOwner), context->from)) {
        Generation* const former = ReloadParameters(context);
        ReleaseMutex(ListenerMutex);
        LeaveFormerGeneration(former);
    } else {
        ServeDatagram(context);
    }
}

// One datagram, from waiting for it to its reply. The caller is the listener.
Turn TakeTurn(Daemon* daemon) {
    AnnounceListener(daemon->thread.self);
    const int ready = WaitForDatagram(daemon);
    const auto error = static_cast<DWORD>(WSAGetLastError());
    if (ready == 0) return PassToFollower();
    CheckRate(daemon);
    if (ready == SOCKET_ERROR) {
        if (IsReceptionStopped()) return Turn::Stopped;  // closed before this thread watched them
        LogEventError(EVENT_SELECT_FAILED, error);
        return Turn::Failed;
    }
    RequestContext context = {};
    switch (TakeDatagram(daemon, &context)) {
        case Received::NoSocket:
            return Turn::Kept;
        case Received::NoMemory:
            LogEvent(EVENT_REQUEST_NO_MEMORY);
            Sleep(NoMemoryPause);  // the datagram waits in its socket; so does this thread, or it would spin
            return Turn::Kept;
        case Received::SocketClosed:
            return Turn::Stopped;
        case Received::Nothing:
            ReleaseMutex(ListenerMutex);
            return Turn::Passed;
        case Received::Datagram:
            break;
    }
    HandleDatagram(&context);
    return Turn::Passed;
}

void GiveBackPlace() {
    const PoolLock hold(ThreadCountMutex, INFINITE);
    if (hold.IsHeld()) ++LiveParameters.MaxDaemonThreads;
}

}  // namespace

bool IsRateHigh(DWORD now, DWORD lastTrip, DWORD sensitivity) {
    return now - lastTrip < sensitivity;
}

LONG RaisePacketLength(LONG length, DWORD minimum, DWORD blockSize) {
    const bool raised = static_cast<DWORD>(length) < minimum && minimum <= blockSize;
    return raised ? static_cast<LONG>(minimum) : length;
}

LoopEnd RunDaemonLoop(const PoolThread& thread) {
    Daemon daemon = {.thread = thread};
    Turn turn = Turn::Passed;
    while (turn == Turn::Passed || turn == Turn::Kept) {
        // The mutex is recursive: a listener that kept the role must not take it a second time.
        if (turn == Turn::Passed && !TakeRole(daemon)) {
            GiveBackPlace();
            return LoopEnd::RoleLost;
        }
        turn = TakeTurn(&daemon);
    }
    return turn == Turn::Stopped ? LoopEnd::Stopped : LoopEnd::Failed;
}
