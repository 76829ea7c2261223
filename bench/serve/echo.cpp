// The yardstick: sends every datagram back to where it came from, with the three system calls that no server
// on one thread can do without, and nothing else.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::size_t BufferSize = 600;  // what the service takes by default

int Complain(const char* operation) {
    std::perror(operation);
    return EXIT_FAILURE;
}

int Serve(int socket) {
    char buffer[BufferSize];
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket, &readable);
        timeval second = {1, 0};
        const int ready = select(socket + 1, &readable, nullptr, nullptr, &second);
        if (ready < 0) return Complain("select");
        if (ready == 0) continue;
        sockaddr_in from = {};
        socklen_t fromLength = sizeof from;
        const ssize_t length =
            recvfrom(socket, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &fromLength);
        if (length < 0) return Complain("recvfrom");
        if (sendto(socket, buffer, static_cast<std::size_t>(length), 0,
                   reinterpret_cast<const sockaddr*>(&from), fromLength) < 0)
            return Complain("sendto");
    }
}

}  // namespace

int main(int argc, char** argv) {
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    if (argc != 3 || inet_pton(AF_INET, argv[1], &own.sin_addr) != 1) {
        std::fputs("usage: bench_echo ADDRESS PORT\n", stderr);
        return EXIT_FAILURE;
    }
    own.sin_port = htons(static_cast<std::uint16_t>(std::strtoul(argv[2], nullptr, 10)));
    const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (socket < 0) return Complain("socket");
    if (bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) return Complain("bind");
    return Serve(socket);
}
