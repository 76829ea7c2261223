// A UDP server on 127.0.0.1 for one exchange: answers each datagram with what the test's function makes of
// it.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

class LoopbackServer {
  public:
    using Datagram = std::vector<std::uint8_t>;
    using Answer = std::function<std::vector<Datagram>(const Datagram&)>;

    explicit LoopbackServer(Answer answer)
        : answer_(std::move(answer)), socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_, name, size) != 0 || ::getsockname(socket_, name, &size) != 0) std::abort();
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~LoopbackServer() {
        ended_ = true;
        thread_.join();
        ::close(socket_);
    }

    std::string Port() const { return std::to_string(port_); }

  private:
    void Serve() {
        Datagram datagram(65536);
        while (!ended_) {
            pollfd waiting{socket_, POLLIN, 0};
            if (::poll(&waiting, 1, 20) <= 0) continue;
            sockaddr_in from{};
            socklen_t size = sizeof from;
            datagram.resize(65536);
            const ssize_t received = ::recvfrom(socket_, datagram.data(), datagram.size(), 0,
                                                reinterpret_cast<sockaddr*>(&from), &size);
            datagram.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
            for (const Datagram& reply : answer_(datagram))
                ::sendto(socket_, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&from), size);
        }
    }

    Answer answer_;
    int socket_;
    std::uint16_t port_ = 0;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};
