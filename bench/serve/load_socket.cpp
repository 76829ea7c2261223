#include "load_socket.h"

#include <netinet/udp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace bench {

namespace {

[[noreturn]] void Throw(const char* operation) {
    throw std::system_error(errno, std::system_category(), operation);
}

sockaddr_in ToSocketAddress(const Endpoint& endpoint) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    std::memcpy(&address.sin_addr, endpoint.address.data(), endpoint.address.size());
    return address;
}

}  // namespace

LoadSocket::LoadSocket(const Endpoint& relay, const Endpoint& server, std::size_t mostAtOnce)
    : _socket(::socket(AF_INET, SOCK_DGRAM, 0)),
      _server(ToSocketAddress(server)),
      _incoming(mostAtOnce),
      _outgoingParts(mostAtOnce),
      _incomingParts(mostAtOnce),
      _buffers(mostAtOnce * BufferSize) {
    if (_socket < 0) Throw("socket");
    _received.reserve(mostAtOnce);
    const sockaddr_in own = ToSocketAddress(relay);
    if (bind(_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
        close(_socket);
        Throw("bind");
    }
    // What is sent at once goes down to the driver as one, and is cut into datagrams there.
    const int segment = RequestSize;
    if (setsockopt(_socket, IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment) != 0) {
        close(_socket);
        Throw("setsockopt(UDP_SEGMENT)");
    }
    for (std::size_t i = 0; i < mostAtOnce; ++i) {
        _incomingParts[i] = {_buffers.data() + i * BufferSize, BufferSize};
        _incoming[i].msg_hdr.msg_iov = &_incomingParts[i];
        _incoming[i].msg_hdr.msg_iovlen = 1;
    }
}

LoadSocket::~LoadSocket() {
    close(_socket);
}

void LoadSocket::SetWait(std::chrono::microseconds wait) {
    const timeval limit = {wait.count() / 1'000'000, wait.count() % 1'000'000};
    if (setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) Throw("setsockopt");
}

void LoadSocket::Send(std::span<const Datagram* const> datagrams) {
    for (std::size_t i = 0; i < datagrams.size(); ++i)
        _outgoingParts[i] = {const_cast<Datagram*>(datagrams[i])->bytes, RequestSize};
    for (std::size_t sent = 0; sent < datagrams.size(); sent += MostSegments) {
        msghdr message = {};
        message.msg_name = &_server;
        message.msg_namelen = sizeof _server;
        message.msg_iov = &_outgoingParts[sent];
        message.msg_iovlen = std::min(datagrams.size() - sent, MostSegments);
        while (sendmsg(_socket, &message, 0) < 0)
            if (errno != EINTR) Throw("sendmsg");
    }
}

std::span<const LoadSocket::Received> LoadSocket::Receive() {
    _received.clear();
    const int count =
        recvmmsg(_socket, _incoming.data(), static_cast<unsigned>(_incoming.size()), MSG_WAITFORONE, nullptr);
    if (count < 0 && errno != EAGAIN && errno != EINTR) Throw("recvmmsg");
    for (int i = 0; i < count; ++i)
        _received.push_back({_buffers.data() + static_cast<std::size_t>(i) * BufferSize,
                             _incoming[static_cast<std::size_t>(i)].msg_len});
    return _received;
}

}  // namespace bench
