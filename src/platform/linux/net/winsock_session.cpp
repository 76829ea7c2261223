#include "platform/linux/net/winsock_session.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "platform/linux/faces/socket.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/system/undying.h"

namespace {

constexpr WORD Offered = MAKEWORD(1, 1);
constexpr unsigned short MostSockets = 32767;
constexpr unsigned short LongestDatagram = 65507;

struct Session {
    std::mutex mutex;
    std::vector<SOCKET> open;
};

// Daemon threads may still run when the process ends, so it is never destroyed.
Session& TheSession() {
    return Undying<Session>();
}

bool IsBelow(WORD version, WORD other) {
    return std::pair(LOBYTE(version), HIBYTE(version)) < std::pair(LOBYTE(other), HIBYTE(other));
}

}  // namespace

constinit std::atomic<unsigned> winsockStarts{0};

bool RefuseUnstarted() {
    WSASetLastError(WSANOTINITIALISED);
    return false;
}

bool NoteOpenSocket(UINT_PTR socket) try {
    const std::lock_guard<std::mutex> lock(TheSession().mutex);
    TheSession().open.push_back(socket);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

void NoteClosedSocket(UINT_PTR socket) {
    const std::lock_guard<std::mutex> lock(TheSession().mutex);
    std::erase(TheSession().open, socket);
}

int WINAPI WSAStartup(WORD version, LPWSADATA data) {
    if (data == nullptr) return WSAEFAULT;
    if (IsBelow(version, Offered)) return WSAVERNOTSUPPORTED;
    *data = {};
    data->wVersion = Offered;
    data->wHighVersion = Offered;
    data->iMaxSockets = MostSockets;
    data->iMaxUdpDg = LongestDatagram;
    std::snprintf(data->szDescription, sizeof data->szDescription, "UDP over IPv4");
    std::snprintf(data->szSystemStatus, sizeof data->szSystemStatus, "Running");
    winsockStarts.fetch_add(1, std::memory_order_acq_rel);
    return 0;
}

int WINAPI WSACleanup() {
    auto& session = TheSession();
    unsigned starts = winsockStarts.load(std::memory_order_acquire);
    do {
        if (starts == 0) {
            WSASetLastError(WSANOTINITIALISED);
            return SOCKET_ERROR;
        }
    } while (!winsockStarts.compare_exchange_weak(starts, starts - 1, std::memory_order_acq_rel));
    if (starts > 1) return 0;

    std::vector<SOCKET> open;
    {
        const std::lock_guard<std::mutex> lock(session.mutex);
        open.swap(session.open);
    }
    for (const SOCKET left : open)
        CloseObjectHandle(reinterpret_cast<HANDLE>(left), ObjectType::Socket);
    return 0;
}

int WINAPI WSAGetLastError() {
    return static_cast<int>(GetLastError());
}

void WINAPI WSASetLastError(int error) {
    SetLastError(static_cast<DWORD>(error));
}
