#include "platform/linux/objects/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/linux/objects/promise.h"

namespace {

// The kernel reads the word itself.
std::uint32_t* AddressOf(std::atomic<std::uint32_t>& word) {
    static_assert(sizeof(word) == sizeof(std::uint32_t) && std::atomic<std::uint32_t>::is_always_lock_free);
    return reinterpret_cast<std::uint32_t*>(&word);
}

timespec TimeOf(Deadline::Clock::time_point point) {
    using std::chrono::duration_cast;
    const auto sinceStart = point.time_since_epoch();
    const auto seconds = duration_cast<std::chrono::seconds>(sinceStart);
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds.count());
    time.tv_nsec = static_cast<long>(duration_cast<std::chrono::nanoseconds>(sinceStart - seconds).count());
    return time;
}

}  // namespace

FutexOutcome FutexWait(std::atomic<std::uint32_t>& word, std::uint32_t value, const Deadline& deadline) {
    // FUTEX_WAIT_BITSET takes the end itself, not the rest, so that an interruption doesn't move it.
    KeepPromise();
    timespec end{};
    if (deadline.End()) end = TimeOf(*deadline.End());
    if (::syscall(SYS_futex, AddressOf(word), FUTEX_WAIT_BITSET_PRIVATE, value,
                  deadline.End() ? &end : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY) == 0)
        return FutexOutcome::Woken;
    return errno == ETIMEDOUT ? FutexOutcome::TimedOut : FutexOutcome::Retry;
}

unsigned FutexWake(std::atomic<std::uint32_t>& word, unsigned count) {
    const long woken = ::syscall(SYS_futex, AddressOf(word), FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
    return woken > 0 ? static_cast<unsigned>(woken) : 0;
}
