#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/instance/service_names.h"
#include "platform/linux/net/bound_descriptors.h"
#include "platform/linux/net/datagram_socket.h"
#include "platform/linux/net/watch_set.h"
#include "platform/linux/net/winsock_session.h"
#include "platform/linux/system/system_error.h"
// last, because its macros take the names of the operations
#include "platform/linux/faces/socket.h"

namespace {

static_assert(sizeof(winsock::FdSet::fd_array) / sizeof(SOCKET) == MostWatched);

HANDLE AsHandle(SOCKET handle) {
    return reinterpret_cast<HANDLE>(handle);
}

int Fail(int error) {
    WSASetLastError(error);
    return SOCKET_ERROR;
}

int FailWithErrno(int error) {
    SetLastErrorFrom(error, ErrorDomain::Sockets);
    return SOCKET_ERROR;
}

// Of an operation that was left by an exception.
int FailCaught() {
    return Fail(static_cast<int>(CaughtError(ErrorDomain::Sockets)));
}

int AnswerOf(int error) {
    return error == 0 ? 0 : FailWithErrno(error);
}

// Null with the last error set.
Ref<DatagramSocket> Find(SOCKET handle) {
    if (!IsWinsockStarted()) return {};
    auto found = LookUpObject<DatagramSocket>(AsHandle(handle));
    if (!found) WSASetLastError(WSAENOTSOCK);
    return found;
}

// 0, or what is wrong with an address that the caller gives.
int AddressFault(const sockaddr* address, int length) {
    if (address == nullptr || length < static_cast<int>(sizeof(sockaddr_in))) return WSAEFAULT;
    return address->sa_family == AF_INET ? 0 : WSAEAFNOSUPPORT;
}

sockaddr_in CopyAddress(const sockaddr* address) {
    sockaddr_in copy;
    std::memcpy(&copy, address, sizeof copy);
    return copy;
}

// The answer to a caller of getservbyname, with all that it points to.
struct ServiceAnswer {
    ServiceName service;
    std::vector<char*> aliases;
    servent entry;

    servent* Set(ServiceName found) {
        service = std::move(found);
        aliases.clear();
        for (std::string& alias : service.aliases)
            aliases.push_back(alias.data());
        aliases.push_back(nullptr);
        entry.s_name = service.name.data();
        entry.s_aliases = aliases.data();
        entry.s_port = htons(service.port);
        entry.s_proto = service.protocol.data();
        return &entry;
    }
};

}  // namespace

int WINAPI closesocket(SOCKET handle) {
    if (!IsWinsockStarted()) return SOCKET_ERROR;
    NoteClosedSocket(handle);
    return CloseObjectHandle(AsHandle(handle), ObjectType::Socket) ? 0 : Fail(WSAENOTSOCK);
}

namespace winsock {

SOCKET Socket(int family, int type, int protocol) try {
    const auto refuse = [](int error) {
        WSASetLastError(error);
        return INVALID_SOCKET;
    };
    if (!IsWinsockStarted()) return INVALID_SOCKET;
    if (family != AF_INET) return refuse(WSAEAFNOSUPPORT);
    if (type != SOCK_DGRAM) return refuse(WSAESOCKTNOSUPPORT);
    if (protocol != 0 && protocol != IPPROTO_UDP) return refuse(WSAEPROTONOSUPPORT);

    Descriptor own;
    if (const int error = OpenDatagramDescriptor(own); error != 0) {
        SetLastErrorFrom(error, ErrorDomain::Sockets);
        return INVALID_SOCKET;
    }
    const HANDLE handle = PublishObject(MakeObject<DatagramSocket>(std::move(own)));
    if (handle == nullptr) return refuse(WSAENOBUFS);
    const auto opened = reinterpret_cast<SOCKET>(handle);
    if (NoteOpenSocket(opened)) return opened;
    CloseObjectHandle(handle, ObjectType::Socket);
    return refuse(WSAENOBUFS);
} catch (...) {
    FailCaught();
    return INVALID_SOCKET;
}

int SetSocketOption(SOCKET handle, int level, int option, const char* value, int length) {
    const auto found = Find(handle);
    if (!found) return SOCKET_ERROR;
    int on = 0;
    if (level != SOL_SOCKET || (option != SO_REUSEADDR && option != SO_BROADCAST))
        return Fail(WSAENOPROTOOPT);
    if (value == nullptr || length < static_cast<int>(sizeof on)) return Fail(WSAEFAULT);
    std::memcpy(&on, value, sizeof on);
    using Option = DatagramSocket::Option;
    return AnswerOf(
        found->SetOption(option == SO_BROADCAST ? Option::Broadcast : Option::ReuseAddress, on != 0));
}

int Bind(SOCKET handle, const sockaddr* address, int length) try {
    const auto found = Find(handle);
    if (!found) return SOCKET_ERROR;
    if (const int fault = AddressFault(address, length); fault != 0) return Fail(fault);
    return AnswerOf(found->Bind(CopyAddress(address)));
} catch (...) {
    return FailCaught();
}

int Select(int, FdSet* read, FdSet* write, FdSet* except, const timeval* timeout) try {
    if (!IsWinsockStarted()) return SOCKET_ERROR;
    for (const FdSet* unwatched : {write, except}) {
        if (unwatched != nullptr && unwatched->fd_count != 0) return Fail(WSAEOPNOTSUPP);
    }
    if (read == nullptr || read->fd_count == 0 || read->fd_count > MostWatched) return Fail(WSAEINVAL);

    std::optional<std::chrono::microseconds> limit;
    if (timeout != nullptr) {
        if (timeout->tv_sec < 0 || timeout->tv_usec < 0) return Fail(WSAEINVAL);
        // Windows' seconds have 32 bits, and so many microseconds always fit.
        limit = std::chrono::seconds(std::min<long>(timeout->tv_sec, INT32_MAX)) +
                std::chrono::microseconds(std::min<long>(timeout->tv_usec, INT32_MAX));
    }
    const int count = WaitUntilReadable({read->fd_array, read->fd_count}, limit, read->fd_array);
    if (count < 0) return FailWithErrno(errno);
    read->fd_count = static_cast<unsigned>(count);
    return count;
} catch (...) {
    return FailCaught();
}

int ReceiveFrom(SOCKET handle, char* buffer, int size, int flags, sockaddr* from, int* fromLength) try {
    const auto found = Find(handle);
    if (!found) return SOCKET_ERROR;
    if (flags != 0) return Fail(WSAEOPNOTSUPP);
    const bool wantsSender = from != nullptr && fromLength != nullptr;
    if (size < 0 || (buffer == nullptr && size != 0)) return Fail(WSAEFAULT);
    if (wantsSender && *fromLength < static_cast<int>(sizeof(sockaddr_in))) return Fail(WSAEFAULT);

    sockaddr_in sender{};
    std::size_t length = 0;
    int error = found->TryReceive(buffer, static_cast<std::size_t>(size), sender, length);
    while (error == EAGAIN) {
        SOCKET readable = 0;
        if (WaitUntilReadable({&handle, 1}, std::nullopt, &readable) < 0) return FailWithErrno(errno);
        error = found->TryReceive(buffer, static_cast<std::size_t>(size), sender, length);
    }
    if (error != 0) return FailWithErrno(error);
    if (wantsSender) {
        std::memcpy(from, &sender, sizeof sender);
        *fromLength = sizeof sender;
    }
    return length > static_cast<std::size_t>(size) ? Fail(WSAEMSGSIZE) : static_cast<int>(length);
} catch (...) {
    return FailCaught();
}

int SendTo(SOCKET handle, const char* data, int size, int flags, const sockaddr* to, int toLength) {
    const auto found = Find(handle);
    if (!found) return SOCKET_ERROR;
    if (flags != 0) return Fail(WSAEOPNOTSUPP);
    if (size < 0 || (data == nullptr && size != 0)) return Fail(WSAEFAULT);
    if (const int fault = AddressFault(to, toLength); fault != 0) return Fail(fault);
    const int error = found->Send(data, static_cast<std::size_t>(size), CopyAddress(to));
    return error == 0 ? size : FailWithErrno(error);
}

int GetHostName(char* name, int size) {
    if (!IsWinsockStarted()) return SOCKET_ERROR;
    std::array<char, 256> host{};
    if ((::gethostname)(host.data(), host.size() - 1) != 0) return FailWithErrno(errno);
    const std::size_t needed = std::strlen(host.data()) + 1;
    if (name == nullptr || size < 0 || static_cast<std::size_t>(size) < needed) return Fail(WSAEFAULT);
    std::memcpy(name, host.data(), needed);
    return 0;
}

servent* GetServiceByName(const char* name, const char* protocol) try {
    if (!IsWinsockStarted()) return nullptr;
    thread_local ServiceAnswer answer;
    auto service =
        name == nullptr ? std::nullopt : LookUpServiceName(name, protocol == nullptr ? "" : protocol);
    if (!service) {
        WSASetLastError(WSANO_DATA);
        return nullptr;
    }
    return answer.Set(std::move(*service));
} catch (...) {
    FailCaught();
    return nullptr;
}

}  // namespace winsock
