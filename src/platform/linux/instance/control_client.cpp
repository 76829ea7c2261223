#include "platform/linux/instance/control_client.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <thread>

#include "platform/linux/instance/control_socket.h"
#include "platform/linux/system/descriptor.h"
#include "platform/linux/system/system_error.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds RetryPause{20};

enum class Outcome {
    Answered,
    NoProcess,
    Dropped,  // the connection ended without a reply: the service has just gone, or was too busy
    TimedOut,
    Failed  // errno tells
};

Outcome OutcomeOf(int errorNumber) {
    switch (errorNumber) {
        case ENOENT:
        case ECONNREFUSED:
            return Outcome::NoProcess;
        case ECONNRESET:
        case EPIPE:
            return Outcome::Dropped;
        case EAGAIN:
            return Outcome::TimedOut;
        default:
            return Outcome::Failed;
    }
}

void LimitWaits(const Descriptor& connection, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now()).count();
    timeval limit{};
    // Nothing at all would mean no limit.
    limit.tv_sec = left > 0 ? left / 1000000 : 0;
    limit.tv_usec = left > 0 ? left % 1000000 : 1;
    ::setsockopt(connection.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    ::setsockopt(connection.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

Outcome AskOnce(const sockaddr_un& address, const ControlRequest& request, Clock::time_point deadline,
                ControlReply& reply) {
    const Descriptor connection(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!connection) return Outcome::Failed;
    LimitWaits(connection, deadline);
    if (::connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::send(connection.Get(), &request, sizeof request, MSG_NOSIGNAL) < 0)
        return OutcomeOf(errno);
    LimitWaits(connection, deadline);
    const ssize_t received = ::recv(connection.Get(), &reply, sizeof reply, 0);
    if (received < 0) return OutcomeOf(errno);
    if (received == 0) return Outcome::Dropped;
    if (received == sizeof reply && reply.mark == ControlMark) return Outcome::Answered;
    errno = EPROTO;
    return Outcome::Failed;
}

DWORD ErrorOf(Outcome outcome) {
    if (outcome == Outcome::NoProcess) return ERROR_SERVICE_NOT_ACTIVE;
    return outcome == Outcome::Failed ? WindowsErrorFrom(errno) : ERROR_SERVICE_REQUEST_TIMEOUT;
}

}  // namespace

std::optional<ControlReply> AskService(const std::string& path, DWORD control, DWORD& error,
                                       std::chrono::milliseconds patience) {
    const Clock::time_point deadline = Clock::now() + patience;
    const auto address = LocalSocketAddress(path);
    if (!address) {
        error = ERROR_FILENAME_EXCED_RANGE;
        return std::nullopt;
    }
    for (;;) {
        ControlReply reply;
        const Outcome outcome = AskOnce(*address, {.control = control}, deadline, reply);
        if (outcome == Outcome::Answered) return reply;
        if (outcome != Outcome::Dropped || Clock::now() + RetryPause >= deadline) {
            error = ErrorOf(outcome);
            return std::nullopt;
        }
        std::this_thread::sleep_for(RetryPause);
    }
}
