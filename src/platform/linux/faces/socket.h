// Windows Sockets 1.1 over UDP and IPv4, as far as the service uses it.
//
// A bound SOCKET receives what is sent to its address and also the broadcasts, limited and directed, of the
// interface that owns the address, each datagram once per address. It sends from its address, and a limited
// broadcast leaves by that interface. Closing a socket wakes every thread in select on it, which then
// reports it as readable, and every thread in recvfrom, with an error; a closed SOCKET is never mistaken for
// a newer one. Any thread may call any operation.
#pragma once

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>  // like the headers above it has names that become macros here

#include "platform/linux/faces/types.h"

using SOCKET = UINT_PTR;

#define INVALID_SOCKET (~static_cast<SOCKET>(0))
#define SOCKET_ERROR (-1)

#undef SOL_SOCKET
#undef SO_REUSEADDR
#undef SO_BROADCAST
#define SOL_SOCKET 0xFFFF
#define SO_REUSEADDR 4
#define SO_BROADCAST 0x20

inline constexpr int WSAEINTR = 10004;
inline constexpr int WSAEBADF = 10009;
inline constexpr int WSAEACCES = 10013;
inline constexpr int WSAEFAULT = 10014;
inline constexpr int WSAEINVAL = 10022;
inline constexpr int WSAEMFILE = 10024;
inline constexpr int WSAEWOULDBLOCK = 10035;
inline constexpr int WSAENOTSOCK = 10038;
inline constexpr int WSAEMSGSIZE = 10040;
inline constexpr int WSAENOPROTOOPT = 10042;
inline constexpr int WSAEPROTONOSUPPORT = 10043;
inline constexpr int WSAESOCKTNOSUPPORT = 10044;
inline constexpr int WSAEOPNOTSUPP = 10045;
inline constexpr int WSAEAFNOSUPPORT = 10047;
inline constexpr int WSAEADDRINUSE = 10048;
inline constexpr int WSAEADDRNOTAVAIL = 10049;
inline constexpr int WSAENETDOWN = 10050;
inline constexpr int WSAENETUNREACH = 10051;
inline constexpr int WSAECONNRESET = 10054;
inline constexpr int WSAENOBUFS = 10055;
inline constexpr int WSAEHOSTUNREACH = 10065;
inline constexpr int WSAVERNOTSUPPORTED = 10092;
inline constexpr int WSANOTINITIALISED = 10093;
inline constexpr int WSANO_DATA = 11004;

struct WSADATA {
    WORD wVersion;
    WORD wHighVersion;
    unsigned short iMaxSockets;
    unsigned short iMaxUdpDg;
    char* lpVendorInfo;
    char szDescription[257];
    char szSystemStatus[129];
};
using LPWSADATA = WSADATA*;

#define MAKEWORD(low, high) \
    (static_cast<WORD>(static_cast<BYTE>(low) | (static_cast<WORD>(static_cast<BYTE>(high)) << 8)))
#define LOBYTE(word) (static_cast<BYTE>(word))
#define HIBYTE(word) (static_cast<BYTE>(static_cast<WORD>(word) >> 8))

int WINAPI WSAStartup(WORD version, LPWSADATA data);
int WINAPI WSACleanup();  // closes every socket that is still open
int WINAPI WSAGetLastError();
void WINAPI WSASetLastError(int error);
int WINAPI closesocket(SOCKET socket);

// The C library has these names with descriptors in place of SOCKETs; callers of the layer reach its own.
namespace winsock {

struct FdSet {
    unsigned int fd_count;
    SOCKET fd_array[255];
};

SOCKET Socket(int family, int type, int protocol);
int SetSocketOption(SOCKET socket, int level, int option, const char* value, int length);
int Bind(SOCKET socket, const sockaddr* address, int length);

// Reading only: `write` and `except` are null or empty, else WSAEOPNOTSUPP. Null waits without limit.
int Select(int ignored, FdSet* read, FdSet* write, FdSet* except, const timeval* timeout);

// A datagram larger than the buffer: -1 and WSAEMSGSIZE, with the cut data and the sender in place.
int ReceiveFrom(SOCKET socket, char* buffer, int size, int flags, sockaddr* from, int* fromLength);
int SendTo(SOCKET socket, const char* data, int size, int flags, const sockaddr* to, int toLength);

int GetHostName(char* name, int size);

// Looks in the home's `services` file first. Null and WSANO_DATA if neither knows the service. The answer
// belongs to the calling thread until its next call.
servent* GetServiceByName(const char* name, const char* protocol);

inline bool IsInSet(SOCKET socket, const FdSet* set) {
    for (unsigned int i = 0; i < set->fd_count && i < sizeof set->fd_array / sizeof socket; ++i)
        if (set->fd_array[i] == socket) return true;
    return false;
}

inline void AddToSet(SOCKET socket, FdSet* set) {
    const bool hasRoom = set->fd_count < sizeof set->fd_array / sizeof socket;
    if (hasRoom && !IsInSet(socket, set)) set->fd_array[set->fd_count++] = socket;
}

}  // namespace winsock

#undef FD_ZERO
#undef FD_SET
#undef FD_ISSET
#define FD_ZERO(set) ((set)->fd_count = 0)
#define FD_SET(socket, set) ::winsock::AddToSet(socket, set)
#define FD_ISSET(socket, set) ::winsock::IsInSet(socket, set)
#define fd_set ::winsock::FdSet
#define socket(...) ::winsock::Socket(__VA_ARGS__)
#define setsockopt(...) ::winsock::SetSocketOption(__VA_ARGS__)
#define bind(...) ::winsock::Bind(__VA_ARGS__)
#define select(...) ::winsock::Select(__VA_ARGS__)
#define recvfrom(...) ::winsock::ReceiveFrom(__VA_ARGS__)
#define sendto(...) ::winsock::SendTo(__VA_ARGS__)
#define gethostname(...) ::winsock::GetHostName(__VA_ARGS__)
#define getservbyname(...) ::winsock::GetServiceByName(__VA_ARGS__)
