#include "platform/linux/manager/control_server.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>

#include "platform/linux/instance/control_socket.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/manager/report_server.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr std::chrono::milliseconds ClientPatience{2000};

// How long new clients wait when there is no descriptor for them. The listener stays ready meanwhile, so it
// isn't looked at.
constexpr std::chrono::milliseconds Rest{100};

// New clients taken in at one call, so that a flood of them doesn't keep the thread from its other work.
constexpr int MostAtOnce = 64;

bool MayControl(const Descriptor& connection) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(connection.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    return peer.uid == 0 || peer.uid == ::geteuid();
}

void Send(const Descriptor& connection, const void* reply, std::size_t size) {
    // A client that doesn't take its answer goes without.
    static_cast<void>(::send(connection.Get(), reply, size, MSG_DONTWAIT | MSG_NOSIGNAL));
}

// A message that a client has sent, as far as it isn't longer than any request.
struct ClientMessage {
    char bytes[sizeof(ReportRequest)];
    ssize_t length;

    template <class Request>
    bool Is(Request* request) const {
        if (length != static_cast<ssize_t>(sizeof *request)) return false;
        const std::uint32_t mark = request->mark;
        std::memcpy(request, bytes, sizeof *request);
        return request->mark == mark;
    }
};
static_assert(sizeof(ControlRequest) < sizeof(ReportRequest));

// Whether somebody answers at the address, or what is there isn't a socket and not ours to remove.
DWORD Occupation(const sockaddr_un& address) {
    struct stat found {};
    if (::lstat(address.sun_path, &found) == 0 && !S_ISSOCK(found.st_mode)) return ERROR_FILE_EXISTS;
    const Descriptor probe(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!probe) return WindowsErrorFrom(errno);
    const bool refused =
        ::connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        (errno == ECONNREFUSED || errno == ENOENT);
    return refused ? ERROR_SUCCESS : ERROR_SERVICE_ALREADY_RUNNING;
}

}  // namespace

ControlServer::~ControlServer() {
    if (listener_) ::unlink(path_.c_str());
}

// The folder of the system's own instance doesn't outlast a restart of the machine.
DWORD ControlServer::OpenForInstance() {
    const std::string path = PathOf(HomePlace::ControlSocket);
    std::error_code ignored;
    if (!HasOwnHome()) std::filesystem::create_directory(std::filesystem::path(path).parent_path(), ignored);
    return Open(path);
}

DWORD ControlServer::Open(const std::string& path) {
    if (!LocalSocketAddress(path)) return ERROR_FILENAME_EXCED_RANGE;
    path_ = path;
    if (const DWORD error = Lock(); error != ERROR_SUCCESS) return error;
    return Listen();
}

// Of two processes that find the same abandoned socket only one may replace it. The lock goes with its
// process.
DWORD ControlServer::Lock() {
    lock_.Reset(::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock_) return WindowsErrorFrom(errno);
    if (::flock(lock_.Get(), LOCK_EX | LOCK_NB) == 0) return ERROR_SUCCESS;
    return errno == EWOULDBLOCK ? ERROR_SERVICE_ALREADY_RUNNING : WindowsErrorFrom(errno);
}

DWORD ControlServer::Listen() {
    const auto address = LocalSocketAddress(path_);
    if (const DWORD error = Occupation(*address); error != ERROR_SUCCESS) return error;
    if (::unlink(path_.c_str()) != 0 && errno != ENOENT) return WindowsErrorFrom(errno);
    Descriptor listener(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The mode of the socket is that of the file which bind makes, so no one else gets in even at the first
    // moment.
    if (!listener || ::fchmod(listener.Get(), 0600) != 0 ||
        ::bind(listener.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0)
        return WindowsErrorFrom(errno);
    listener_ = std::move(listener);
    return ::listen(listener_.Get(), SOMAXCONN) == 0 ? ERROR_SUCCESS : WindowsErrorFrom(errno);
}

void ControlServer::AppendTo(std::vector<pollfd>& descriptors) const {
    if (!isResting_) descriptors.push_back({listener_.Get(), POLLIN, 0});
    for (const Client& client : clients_)
        descriptors.push_back({client.connection.Get(), POLLIN, 0});
}

ControlServer::Clock::time_point ControlServer::NextDeadline() const {
    const auto deadline = clients_.empty() ? Clock::time_point::max() : clients_.front().deadline;
    return isResting_ ? std::min(deadline, Clock::now() + Rest) : deadline;
}

int ControlServer::MillisecondsUntil(Clock::time_point when) {
    using namespace std::chrono;
    const auto now = steady_clock::now();
    if (when <= now) return 0;
    return static_cast<int>(std::min<nanoseconds::rep>(ceil<milliseconds>(when - now).count(), 3600'000));
}

void ControlServer::Serve(const Handler& handler) {
    // A handler takes its time, so each client is read once more before its deadline counts.
    std::erase_if(clients_, [&](const Client& client) {
        return ServeClient(client, handler) || Clock::now() >= client.deadline;
    });
    TakeInClients(handler);
}

Descriptor ControlServer::Accept() const {
    return Descriptor(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

void ControlServer::TakeInClients(const Handler& handler) {
    isResting_ = false;
    for (int count = 0; count < MostAtOnce; ++count) {
        spare_.Refill();
        Client client{spare_.Use([this] { return Accept(); }), Clock::now() + ClientPatience};
        if (!client.connection) {
            isResting_ = errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
            return;
        }
        if (ServeClient(client, handler)) continue;
        if (clients_.size() == MostClients) clients_.pop_front();
        try {
            clients_.push_back(std::move(client));
        } catch (const std::bad_alloc&) {
            // Its connection ends.
        }
    }
}

// True if there is nothing more to do for the client: it has its answer, or it has gone, or it talks
// nonsense. Who may not control is refused when it asks, not before: the kernel drops an answer that is
// followed by the end of a connection in which a request waits unread.
bool ControlServer::ServeClient(const Client& client, const Handler& handler) try {
    ClientMessage message;
    message.length =
        ::recv(client.connection.Get(), message.bytes, sizeof message.bytes, MSG_DONTWAIT | MSG_TRUNC);
    if (message.length < 0) return errno != EAGAIN && errno != EINTR;
    ControlRequest control;
    ReportRequest report;
    if (message.Is(&control)) {
        const ControlReply reply = MayControl(client.connection) ? handler(control.control)
                                                                 : ControlReply{.error = ERROR_ACCESS_DENIED};
        Send(client.connection, &reply, sizeof reply);
    } else if (message.Is(&report)) {
        const std::string reply =
            MayControl(client.connection) ? ReportPageFor(report) : ReportRefusal(ERROR_ACCESS_DENIED);
        Send(client.connection, reply.data(), reply.size());
    }
    return true;
} catch (const std::bad_alloc&) {
    return true;  // as one for whom there is no memory
}
