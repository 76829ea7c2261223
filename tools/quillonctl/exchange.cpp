#include "quillonctl/exchange.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/linux/system/descriptor.h"

namespace quillonctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr IpAddress AnyAddress{};
constexpr IpAddress LimitedBroadcast{{255, 255, 255, 255}};

// Larger than any datagram, so none is ever cut.
constexpr std::size_t BufferSize = 65536;

sockaddr_in SocketAddress(const IpAddress& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    std::memcpy(&result.sin_addr, address.bytes, sizeof address.bytes);
    return result;
}

std::string EndpointText(const IpAddress& address, std::uint16_t port) {
    return AddressText(address) + ":" + std::to_string(port);
}

std::string EndpointText(const sockaddr_in& endpoint) {
    IpAddress address;
    std::memcpy(address.bytes, &endpoint.sin_addr, sizeof address.bytes);
    return EndpointText(address, ntohs(endpoint.sin_port));
}

std::string Reason() {
    return std::string(": ") + std::strerror(errno);
}

Descriptor OpenSocket(const Route& route, std::string& error) {
    Descriptor descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor) {
        error = "no socket" + Reason();
        return {};
    }
    const int on = 1;
    if (::setsockopt(descriptor.Get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
        error = "broadcasts can't be allowed" + Reason();
        return {};
    }
    const std::string& interface = route.interface;
    if (!interface.empty() && ::setsockopt(descriptor.Get(), SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(),
                                           static_cast<socklen_t>(interface.size())) != 0) {
        error = "interface " + interface + " can't be used" + Reason();
        return {};
    }
    return descriptor;
}

bool Bind(const Descriptor& descriptor, const IpAddress& address, std::uint16_t port) {
    const sockaddr_in local = SocketAddress(address, port);
    return ::bind(descriptor.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

std::uint16_t BoundPort(const Descriptor& descriptor) {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    ::getsockname(descriptor.Get(), reinterpret_cast<sockaddr*>(&local), &size);
    return ntohs(local.sin_port);
}

// The first sends and receives. A socket that is bound to an address gets no broadcast, so then there is a
// second.
using Sockets = std::array<Descriptor, 2>;

bool OpenSockets(const Route& route, Sockets& sockets, std::string& error, std::string& notice) {
    sockets[0] = OpenSocket(route, error);
    if (!sockets[0]) return false;
    const IpAddress local = route.local.value_or(AnyAddress);
    bool bound = Bind(sockets[0], local, route.localPort);
    if (!bound && errno == EACCES && route.anyPortIfDenied) {
        notice = "port " + std::to_string(route.localPort) +
                 " is not allowed to this user; a reply comes only from a server that answers the port it "
                 "was asked from";
        bound = Bind(sockets[0], local, 0);
    }
    if (!bound) {
        error = "can't bind to " + EndpointText(local, route.localPort) + Reason();
        return false;
    }
    if (local == AnyAddress) return true;
    sockets[1] = OpenSocket(route, error);
    if (!sockets[1]) return false;
    if (!Bind(sockets[1], LimitedBroadcast, BoundPort(sockets[0]))) {
        error = "can't receive broadcasts" + Reason();
        return false;
    }
    return true;
}

// Nothing if there is no datagram, or one that isn't awaited.
std::optional<ExchangeResult> Receive(const Descriptor& descriptor, const std::function<bool(Bytes)>& isOurs,
                                      Reply& reply) {
    sockaddr_in from{};
    socklen_t size = sizeof from;
    reply.bytes.resize(BufferSize);
    const ssize_t received = ::recvfrom(descriptor.Get(), reply.bytes.data(), reply.bytes.size(), 0,
                                        reinterpret_cast<sockaddr*>(&from), &size);
    if (received < 0) return errno == ECONNREFUSED ? std::optional(ExchangeResult::NoListener) : std::nullopt;
    reply.bytes.resize(static_cast<std::size_t>(received));
    reply.from = EndpointText(from);
    return isOurs(reply.bytes) ? std::optional(ExchangeResult::Replied) : std::nullopt;
}

ExchangeResult AwaitReply(const Sockets& sockets, Clock::time_point deadline,
                          const std::function<bool(Bytes)>& isOurs, Reply& reply, std::string& error) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return ExchangeResult::NoReply;
        pollfd waiting[] = {{sockets[0].Get(), POLLIN, 0}, {sockets[1].Get(), POLLIN, 0}};
        const int ready = ::poll(waiting, std::size(waiting), static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) {
            error = "waiting failed" + Reason();
            return ExchangeResult::Failed;
        }
        if (ready <= 0) continue;
        for (std::size_t index = 0; index < sockets.size(); ++index) {
            if (waiting[index].revents == 0) continue;
            if (const auto result = Receive(sockets[index], isOurs, reply)) return *result;
        }
    }
}

bool Send(const Route& route, const Descriptor& descriptor, Bytes request, std::string& error) {
    const sockaddr_in server = SocketAddress(route.server, route.serverPort);
    const auto* const address = reinterpret_cast<const sockaddr*>(&server);
    const bool connected = !route.onlyServer || ::connect(descriptor.Get(), address, sizeof server) == 0;
    if (connected &&
        ::sendto(descriptor.Get(), request.data(), request.size(), 0, address, sizeof server) >= 0)
        return true;
    error = "can't send to " + EndpointText(server) + Reason();
    return false;
}

}  // namespace

ExchangeResult Exchange(const Route& route, Bytes request, std::chrono::milliseconds timeout,
                        const std::function<bool(Bytes)>& isOurs, Reply& reply, std::string& error,
                        std::string& notice) {
    Sockets sockets;
    if (!OpenSockets(route, sockets, error, notice)) return ExchangeResult::Failed;
    const Clock::time_point deadline = Clock::now() + timeout;
    if (!Send(route, sockets[0], request, error)) return ExchangeResult::Failed;
    return AwaitReply(sockets, deadline, isOurs, reply, error);
}

}  // namespace quillonctl
