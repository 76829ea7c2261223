#include "platform/linux/instance/control_client.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <memory>
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

// A message, or the room for one.
struct Message {
    void* bytes;
    std::size_t size;
};

// The length of the reply goes to `received`; one that is longer than its room counts as it is.
Outcome AskOnce(const sockaddr_un& address, const Message& request, const Message& reply,
                Clock::time_point deadline, std::size_t& received) {
    const Descriptor connection(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!connection) return Outcome::Failed;
    LimitWaits(connection, deadline);
    if (::connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::send(connection.Get(), request.bytes, request.size, MSG_NOSIGNAL) < 0)
        return OutcomeOf(errno);
    LimitWaits(connection, deadline);
    const ssize_t length = ::recv(connection.Get(), reply.bytes, reply.size, MSG_TRUNC);
    if (length < 0) return OutcomeOf(errno);
    received = static_cast<std::size_t>(length);
    return length == 0 ? Outcome::Dropped : Outcome::Answered;
}

DWORD ErrorOf(Outcome outcome) {
    if (outcome == Outcome::NoProcess) return ERROR_SERVICE_NOT_ACTIVE;
    return outcome == Outcome::Failed ? WindowsErrorFrom(errno) : ERROR_SERVICE_REQUEST_TIMEOUT;
}

// Asks until there is a reply. Returns 0 and the length of the reply, or the error.
DWORD Ask(const std::string& path, const Message& request, const Message& reply, Clock::time_point deadline,
          std::size_t& received) {
    const auto address = LocalSocketAddress(path);
    if (!address) return ERROR_FILENAME_EXCED_RANGE;
    for (;;) {
        const Outcome outcome = AskOnce(*address, request, reply, deadline, received);
        if (outcome == Outcome::Answered) return ERROR_SUCCESS;
        if (outcome != Outcome::Dropped || Clock::now() + RetryPause >= deadline) return ErrorOf(outcome);
        std::this_thread::sleep_for(RetryPause);
    }
}

constexpr int NotTheProtocol = EPROTO;

struct ReportMessage {
    ReportReply head;
    char text[ReportPageSize];
};

DWORD AskPage(const std::string& path, ReportRequest& request, Clock::time_point deadline,
              ReportMessage& page) {
    std::size_t received = 0;
    const DWORD error = Ask(path, {&request, sizeof request}, {&page, sizeof page}, deadline, received);
    if (error != ERROR_SUCCESS) return error;
    if (received < sizeof page.head || page.head.mark != ReportMark || page.head.length > sizeof page.text ||
        received != sizeof page.head + page.head.length)
        return WindowsErrorFrom(NotTheProtocol);
    return page.head.error;
}

}  // namespace

std::optional<ControlReply> AskService(const std::string& path, DWORD control, DWORD& error,
                                       std::chrono::milliseconds patience) {
    ControlRequest request{.control = control};
    ControlReply reply;
    std::size_t received = 0;
    error = Ask(path, {&request, sizeof request}, {&reply, sizeof reply}, Clock::now() + patience, received);
    if (error != ERROR_SUCCESS) return std::nullopt;
    if (received == sizeof reply && reply.mark == ControlMark) return reply;
    error = WindowsErrorFrom(NotTheProtocol);
    return std::nullopt;
}

std::optional<std::string> AskReport(const std::string& path, ServiceReport report, const std::string& about,
                                     DWORD& error, std::chrono::milliseconds patience) {
    const Clock::time_point deadline = Clock::now() + patience;
    ReportRequest request{.report = static_cast<std::uint32_t>(report)};
    error = ERROR_INVALID_PARAMETER;
    if (about.size() >= sizeof request.about) return std::nullopt;
    about.copy(request.about, about.size());

    std::string text;
    const auto page = std::make_unique<ReportMessage>();
    for (std::uint32_t edition = 0;;) {
        error = AskPage(path, request, deadline, *page);
        if (error != ERROR_SUCCESS) return std::nullopt;
        if (request.from == 0) {
            text.clear();
            edition = page->head.edition;
        }
        const bool fitsOn = page->head.edition == edition;
        text.append(page->text, page->head.length);
        request.from = fitsOn ? page->head.next : 0;
        if (fitsOn && request.from == 0) return text;
    }
}
