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
    : socket_(::socket(AF_INET, SOCK_DGRAM, 0)),
      server_(ToSocketAddress(server)),
      incoming_(mostAtOnce),
      outgoingParts_(mostAtOnce),
      incomingParts_(mostAtOnce),
      buffers_(mostAtOnce * BufferSize) {
    if (socket_ < 0) Throw("socket");
    received_.reserve(mostAtOnce);
    const sockaddr_in own = ToSocketAddress(relay);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
        close(socket_);
        Throw("bind");
    }
    // What is sent at once goes down to the driver as one, and is cut into datagrams there.
    const int segment = RequestSize;
    if (setsockopt(socket_, IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment) != 0) {
        close(socket_);
        Throw("setsockopt(UDP_SEGMENT)");
    }
    for (std::size_t i = 0; i < mostAtOnce; ++i) {
        incomingParts_[i] = {buffers_.data() + i * BufferSize, BufferSize};
        incoming_[i].msg_hdr.msg_iov = &incomingParts_[i];
        incoming_[i].msg_hdr.msg_iovlen = 1;
    }
}

LoadSocket::~LoadSocket() {
    close(socket_);
}

void LoadSocket::SetWait(std::chrono::microseconds wait) {
    const timeval limit = {wait.count() / 1'000'000, wait.count() % 1'000'000};
    if (setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) Throw("setsockopt");
}

void LoadSocket::Send(std::span<const Datagram* const> datagrams) {
    for (std::size_t i = 0; i < datagrams.size(); ++i)
        outgoingParts_[i] = {const_cast<Datagram*>(datagrams[i])->bytes, RequestSize};
    for (std::size_t sent = 0; sent < datagrams.size(); sent += MostSegments) {
        msghdr message = {};
        message.msg_name = &server_;
        message.msg_namelen = sizeof server_;
        message.msg_iov = &outgoingParts_[sent];
        message.msg_iovlen = std::min(datagrams.size() - sent, MostSegments);
        while (sendmsg(socket_, &message, 0) < 0)
            if (errno != EINTR) Throw("sendmsg");
    }
}

std::span<const LoadSocket::Received> LoadSocket::Receive() {
    received_.clear();
    const int count =
        recvmmsg(socket_, incoming_.data(), static_cast<unsigned>(incoming_.size()), MSG_WAITFORONE, nullptr);
    if (count < 0 && errno != EAGAIN && errno != EINTR) Throw("recvmmsg");
    for (int i = 0; i < count; ++i)
        received_.push_back({buffers_.data() + static_cast<std::size_t>(i) * BufferSize,
                             incoming_[static_cast<std::size_t>(i)].msg_len});
    return received_;
}

}  // namespace bench
