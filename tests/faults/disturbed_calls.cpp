// Preloaded. With INTERRUPTED_CALLS, a third of the calls that a signal could interrupt are, before they have
// done anything. Of writes these are the ones to files, as on a disk that is far away. The clock of the day
// is ahead by the seconds in the file SHIFTED_CLOCK, if one is named, which is read anew at each look.
#include <dlfcn.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

std::atomic<std::uint64_t> Calls{1};

bool IsInterrupted() {
    static const bool isWanted = std::getenv("INTERRUPTED_CALLS") != nullptr;
    if (!isWanted) return false;
    // Without a pattern: one that fits a loop of retries would hold it up for good.
    std::uint64_t dice = Calls.fetch_add(1, std::memory_order_relaxed) * 0x9E3779B97F4A7C15u;
    dice ^= dice >> 29;
    if (dice * 0xBF58476D1CE4E5B9u >> 60 >= 5) return false;
    errno = EINTR;
    return true;
}

long long Shift() {
    long long seconds = 0;
    const char* path = std::getenv("SHIFTED_CLOCK");
    if (std::FILE* file = path != nullptr ? std::fopen(path, "re") : nullptr) {
        if (std::fscanf(file, "%lld", &seconds) != 1) seconds = 0;
        std::fclose(file);
    }
    return seconds;
}

template <class Function>
Function Real(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// clang-format off
#define INTERRUPTED(type, name, parameters, arguments)                  \
    extern "C" type name parameters {                                   \
        static const auto real = Real<type(*) parameters>(#name);       \
        return IsInterrupted() ? type{-1} : real arguments;             \
    }

INTERRUPTED(ssize_t, read, (int fd, void* to, size_t size), (fd, to, size))
INTERRUPTED(ssize_t, pread, (int fd, void* to, size_t size, off_t at), (fd, to, size, at))
INTERRUPTED(int, poll, (pollfd* fds, nfds_t count, int timeout), (fds, count, timeout))
INTERRUPTED(int, epoll_wait, (int fd, epoll_event* events, int most, int timeout), (fd, events, most, timeout))
INTERRUPTED(ssize_t, recv, (int fd, void* to, size_t size, int flags), (fd, to, size, flags))
INTERRUPTED(ssize_t, recvmsg, (int fd, msghdr* message, int flags), (fd, message, flags))
INTERRUPTED(int, recvmmsg, (int fd, mmsghdr* messages, unsigned count, int flags, timespec* timeout),
            (fd, messages, count, flags, timeout))
INTERRUPTED(ssize_t, send, (int fd, const void* from, size_t size, int flags), (fd, from, size, flags))
INTERRUPTED(int, accept4, (int fd, sockaddr* from, socklen_t* length, int flags), (fd, from, length, flags))

extern "C" ssize_t write(int fd, const void* from, size_t size) {
    static const auto real = Real<decltype(&write)>("write");
    struct stat status {};
    const bool isFile = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    return isFile && IsInterrupted() ? -1 : real(fd, from, size);
}

// To the network and to the kernel's tables, but not to the service manager.
extern "C" ssize_t sendto(int fd, const void* from, size_t size, int flags, const sockaddr* to, socklen_t length) {
    static const auto real = Real<decltype(&sendto)>("sendto");
    const bool isOurs = to != nullptr && (to->sa_family == AF_INET || to->sa_family == AF_NETLINK);
    return isOurs && IsInterrupted() ? -1 : real(fd, from, size, flags, to, length);
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    static const auto real = Real<int (*)(clockid_t, timespec*)>("clock_gettime");
    const int result = real(clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) now->tv_sec += Shift();
    return result;
}

extern "C" time_t time(time_t* into) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (into != nullptr) *into = now.tv_sec;
    return now.tv_sec;
}

extern "C" int gettimeofday(timeval* __restrict now, void* __restrict) noexcept {
    timespec precise{};
    clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return 0;
}
