// The relay's socket: many datagrams with one system call, so that the load is not what limits the figures.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <span>
#include <vector>

#include "request_maker.h"

namespace bench {

struct Endpoint {
    NetworkAddress address = {};
    std::uint16_t port = 67;
};

class LoadSocket {
  public:
    // On the relay's own address. Throws std::system_error.
    LoadSocket(const Endpoint& relay, const Endpoint& server, std::size_t mostAtOnce);
    ~LoadSocket();
    LoadSocket(const LoadSocket&) = delete;
    LoadSocket& operator=(const LoadSocket&) = delete;

    // How long Receive waits for the first datagram. Throws std::system_error.
    void SetWait(std::chrono::microseconds wait);

    // Sends all of them to the server, at most `mostAtOnce`. Throws std::system_error.
    void Send(std::span<const Datagram* const> datagrams);

    struct Received {
        const std::uint8_t* bytes;
        std::size_t length;
    };
    // What is there, once there is something; nothing when the wait is over. Valid until the next call.
    std::span<const Received> Receive();

  private:
    static constexpr std::size_t BufferSize = 2048;
    static constexpr std::size_t MostSegments = 64;  // the kernel's bound
    int socket_;
    sockaddr_in server_;
    std::vector<mmsghdr> incoming_;
    std::vector<iovec> outgoingParts_, incomingParts_;
    std::vector<std::uint8_t> buffers_;
    std::vector<Received> received_;
};

}  // namespace bench
