#include "platform/linux/manager/service_signals.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>

namespace {

constexpr char ReloadRequest[] = "RELOAD REQ";  // goes out with its NUL

// Where a descriptor of this process receives, if it is a UDP socket with an address of its own.
std::optional<sockaddr_in> ListeningAddress(int descriptor) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    int type = 0;
    socklen_t typeSize = sizeof type;
    const bool listens =
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
        address.sin_family == AF_INET && address.sin_port != 0 && address.sin_addr.s_addr != INADDR_ANY &&
        ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &typeSize) == 0 && type == SOCK_DGRAM;
    return listens ? std::optional(address) : std::nullopt;
}

// A socket that isn't allowed to broadcast can't send to the addresses at which the service hears broadcasts.
bool SendTo(const Descriptor& socket, const sockaddr_in& address) {
    return ::sendto(socket.Get(), ReloadRequest, sizeof ReloadRequest, MSG_DONTWAIT,
                    reinterpret_cast<const sockaddr*>(&address), sizeof address) == sizeof ReloadRequest;
}

bool SendToOwnService(const Descriptor& socket) {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", failure)) {
        const std::string name = entry.path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        const auto address = ListeningAddress(descriptor);
        if (address && SendTo(socket, *address)) return true;
    }
    return false;
}

}  // namespace

sigset_t BlockServiceSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void OwnReload::SendIfAsked() {
    if (!isAsked_) return;
    if (!socket_) socket_.Reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    isAsked_ = !socket_ || !SendToOwnService(socket_);
}
