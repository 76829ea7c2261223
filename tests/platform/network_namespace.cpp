#include "platform/network_namespace.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "run_shell.h"

namespace {

Descriptor CurrentNamespace() {
    return Descriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
}

// A test that goes on in the wrong namespace would do its harm there.
void EnterOrAbort(const Descriptor& target) {
    if (setns(target.Get(), CLONE_NEWNET) != 0) std::abort();
}

sockaddr_in AddressOf(const std::string& text, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (!text.empty()) {
        EXPECT_EQ(inet_pton(AF_INET, text.c_str(), &address.sin_addr), 1) << text;
    }
    return address;
}

bool IsReadable(const Descriptor& descriptor, std::chrono::milliseconds limit) {
    pollfd waited{.fd = descriptor.Get(), .events = POLLIN, .revents = 0};
    return poll(&waited, 1, static_cast<int>(limit.count())) == 1;
}

void SetFlag(const Descriptor& descriptor, int option) {
    const int on = 1;
    EXPECT_EQ(setsockopt(descriptor.Get(), SOL_SOCKET, option, &on, sizeof on), 0);
}

}  // namespace

std::optional<NetworkNamespace> NetworkNamespace::Create() {
    const Descriptor home = CurrentNamespace();
    if (!home || unshare(CLONE_NEWNET) != 0) return std::nullopt;
    NetworkNamespace made(CurrentNamespace());
    Shell("ip link set lo up");
    EnterOrAbort(home);
    return made;
}

std::string NetworkNamespace::Path() const {
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(descriptor_.Get());
}

NetworkNamespace::Visit::Visit(const NetworkNamespace& visited) : home_(CurrentNamespace()) {
    EnterOrAbort(visited.descriptor_);
}

NetworkNamespace::Visit::~Visit() {
    EnterOrAbort(home_);
}

std::string Shell(const std::string& command) {
    const Said said = RunShell(command);
    EXPECT_EQ(said.code, 0) << command << ": " << said.text;
    return said.text;
}

PlainSocket::PlainSocket(const std::string& address, std::uint16_t port, const std::string& interfaceName)
    : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    SetFlag(descriptor_, SO_BROADCAST);
    if (!interfaceName.empty()) {
        EXPECT_EQ(setsockopt(descriptor_.Get(), SOL_SOCKET, SO_BINDTODEVICE, interfaceName.data(),
                             static_cast<socklen_t>(interfaceName.size())),
                  0);
    }
    const sockaddr_in own = AddressOf(address, port);
    EXPECT_EQ(bind(descriptor_.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0)
        << address << ":" << port << ": " << std::strerror(errno);
}

bool PlainSocket::Send(std::string_view data, const std::string& address, std::uint16_t port) {
    const sockaddr_in to = AddressOf(address, port);
    return sendto(descriptor_.Get(), data.data(), data.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                  sizeof to) == static_cast<ssize_t>(data.size());
}

std::optional<Datagram> PlainSocket::Receive(std::chrono::milliseconds limit) {
    if (!IsReadable(descriptor_, limit)) return std::nullopt;
    std::array<char, 2048> buffer;
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t length = recvfrom(descriptor_.Get(), buffer.data(), buffer.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (length < 0) return std::nullopt;
    std::array<char, INET_ADDRSTRLEN> text;
    inet_ntop(AF_INET, &from.sin_addr, text.data(), text.size());
    return Datagram{.data = std::string(buffer.data(), static_cast<std::size_t>(length)),
                    .from = std::string(text.data()) + ":" + std::to_string(ntohs(from.sin_port))};
}

std::uint16_t PlainSocket::Port() const {
    sockaddr_in own{};
    socklen_t length = sizeof own;
    EXPECT_EQ(getsockname(descriptor_.Get(), reinterpret_cast<sockaddr*>(&own), &length), 0);
    return ntohs(own.sin_port);
}

FrameWatch::FrameWatch(const std::string& interfaceName)
    : descriptor_(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL))) {
    sockaddr_ll own{};
    own.sll_family = AF_PACKET;
    own.sll_protocol = htons(ETH_P_ALL);
    own.sll_ifindex = static_cast<int>(if_nametoindex(interfaceName.c_str()));
    EXPECT_EQ(bind(descriptor_.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
}

std::optional<Frame> FrameWatch::Next(std::chrono::milliseconds limit) {
    constexpr std::size_t kProtocolOffset = 12;
    if (!IsReadable(descriptor_, limit)) return std::nullopt;
    Frame frame;
    frame.bytes.resize(2048);
    const ssize_t length = recv(descriptor_.Get(), frame.bytes.data(), frame.bytes.size(), 0);
    if (length < static_cast<ssize_t>(kProtocolOffset + 2)) return std::nullopt;
    frame.bytes.resize(static_cast<std::size_t>(length));
    frame.protocol =
        static_cast<std::uint16_t>(frame.bytes[kProtocolOffset] << 8 | frame.bytes[kProtocolOffset + 1]);
    return frame;
}
