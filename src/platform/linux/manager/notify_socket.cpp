#include "platform/linux/manager/notify_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "platform/linux/instance/control_socket.h"

namespace {

constexpr int PatienceMilliseconds = 1000;

}  // namespace

bool NotifySocket::Open() {
    const char* name = std::getenv("NOTIFY_SOCKET");
    if (name == nullptr || (*name != '/' && *name != '@')) return false;
    auto address = LocalSocketAddress(name);
    if (!address) return false;
    socklen_t size = sizeof *address;
    if (*name == '@') {
        // A name of the abstract kind counts with its length, and has no NUL.
        address->sun_path[0] = '\0';
        size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(name));
    }
    probe_.Reset(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return probe_ && ::connect(probe_.Get(), reinterpret_cast<const sockaddr*>(&*address), size) == 0;
}

// The library's call waits without limit for room in the manager's queue, and a manager that reads nothing
// must not stop the service.
bool NotifySocket::Notify(const std::string& notification) {
    pollfd room{probe_.Get(), POLLOUT, 0};
    isClogged_ = ::poll(&room, 1, isClogged_ ? 0 : PatienceMilliseconds) == 0;
    if ((room.revents & POLLOUT) == 0) return false;
    return ::sd_notify(0, notification.c_str()) > 0;
}
