#include "platform/linux/net/watch_set.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/linux/objects/freeze_point.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/system/undying.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr std::uint32_t Retired = UINT32_MAX;  // the event that wakes the waiting threads
constexpr std::size_t MostEvents = MostWatched * DatagramSocket::Descriptors + 1;
constexpr std::size_t KeptSets = 16;

// What is left of a wait. The clock is read again only if the first wait ends too early.
class TimeLeft {
  public:
    explicit TimeLeft(std::optional<microseconds> limit) : left_(limit) {
        if (limit) end_ = Clock::now() + *limit;
    }
    void Update() {
        if (left_) left_ = std::chrono::ceil<microseconds>(end_ - Clock::now());
    }
    bool IsOver() const { return left_ && *left_ <= microseconds::zero(); }
    // In the form of the system call, never less than what is left; a wait too long for that form is done in
    // pieces.
    int Milliseconds() const {
        if (!left_) return -1;
        const auto whole = std::chrono::ceil<std::chrono::milliseconds>(*left_).count();
        return static_cast<int>(std::clamp<decltype(whole)>(whole, 0, INT_MAX));
    }

  private:
    std::optional<microseconds> left_;
    Clock::time_point end_{};
};

struct Member {
    UINT_PTR handle;
    Ref<DatagramSocket> socket;
};

class WatchSet {
  public:
    // 0, or a number of errno.
    int Fill(std::span<const UINT_PTR> sockets);

    bool Is(std::span<const UINT_PTR> sockets) const { return std::ranges::equal(sockets, asked_); }
    bool Has(const DatagramSocket& socket) const;
    void Retire();
    bool IsRetired() const { return retired_.load(std::memory_order_acquire); }
    bool HasWaiters() const { return waiters_.load() != 0; }

    // Those of the sockets that have a datagram for which the kernel need not be asked. Only when there are
    // none do the others get their turn, which is soon: little is read ahead.
    int CollectReadAhead(UINT_PTR* readable) const;

    // As WaitUntilReadable; nothing if the set was retired meanwhile.
    std::optional<int> Wait(TimeLeft& left, UINT_PTR* readable);

  private:
    int Watch(int descriptor, std::uint32_t mark);
    int AddMember(UINT_PTR handle);
    int Collect(const epoll_event* events, int count, UINT_PTR* readable);

    std::vector<UINT_PTR> asked_;
    std::vector<Member> members_;
    Descriptor epoll_;
    Descriptor notice_;
    std::atomic<bool> retired_{false};
    std::atomic<unsigned> waiters_{0};
};

// Counted for the length of a scope.
class Counted {
  public:
    explicit Counted(std::atomic<unsigned>& count) : count_(count) { ++count_; }
    ~Counted() { --count_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

  private:
    std::atomic<unsigned>& count_;
};

int WatchSet::Watch(int descriptor, std::uint32_t mark) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = mark;
    return epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : errno;
}

int WatchSet::AddMember(UINT_PTR handle) {
    // A copy of its own: what comes from a lookup holds the place of the handle.
    const Ref<DatagramSocket> found = LookUpObject<DatagramSocket>(reinterpret_cast<HANDLE>(handle));
    if (!found) return ENOTSOCK;
    const auto index = static_cast<std::uint32_t>(members_.size());
    members_.push_back({handle, found});

    const DatagramSocket::Stay stay(*found);
    if (!stay) return ENOTSOCK;
    for (unsigned i = 0; i < DatagramSocket::Descriptors; ++i) {
        const int descriptor = found->DescriptorAt(i);
        if (descriptor < 0) continue;
        if (const int error = Watch(descriptor, index * DatagramSocket::Descriptors + i); error != 0)
            return error;
    }
    return 0;
}

int WatchSet::Fill(std::span<const UINT_PTR> sockets) {
    epoll_.Reset(epoll_create1(EPOLL_CLOEXEC));
    notice_.Reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!epoll_ || !notice_) return errno;
    if (const int error = Watch(notice_.Get(), Retired); error != 0) return error;

    asked_.assign(sockets.begin(), sockets.end());
    members_.reserve(sockets.size());
    for (auto handle = sockets.begin(); handle != sockets.end(); ++handle) {
        if (std::find(sockets.begin(), handle, *handle) != handle) continue;
        if (const int error = AddMember(*handle); error != 0) return error;
    }
    return 0;
}

bool WatchSet::Has(const DatagramSocket& socket) const {
    return std::ranges::any_of(members_,
                               [&socket](const Member& member) { return member.socket.Get() == &socket; });
}

void WatchSet::Retire() {
    retired_.store(true, std::memory_order_release);
    // It is never taken back, so it wakes every thread that waits and every one that is about to.
    eventfd_write(notice_.Get(), 1);
}

int WatchSet::Collect(const epoll_event* events, int count, UINT_PTR* readable) {
    std::array<std::uint8_t, MostWatched> masks{};
    for (int i = 0; i < count; ++i) {
        const std::uint32_t mark = events[i].data.u32;
        if (mark == Retired) continue;
        masks[mark / DatagramSocket::Descriptors] |= 1u << (mark % DatagramSocket::Descriptors);
    }
    int found = 0;
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (masks[i] == 0) continue;
        members_[i].socket->NoteReadable(masks[i]);
        readable[found++] = members_[i].handle;
    }
    return found;
}

int WatchSet::CollectReadAhead(UINT_PTR* readable) const {
    int found = 0;
    for (const Member& member : members_)
        if (member.socket->HasReadAhead()) readable[found++] = member.handle;
    return found;
}

std::optional<int> WatchSet::Wait(TimeLeft& left, UINT_PTR* readable) {
    const Counted waiting(waiters_);
    // Who has read ahead before this thread was counted doesn't wake it.
    if (const int found = CollectReadAhead(readable); found != 0) return found;
    std::array<epoll_event, MostEvents> events;
    KeepPromise();
    for (;;) {
        const int count = epoll_wait(epoll_.Get(), events.data(), MostEvents, left.Milliseconds());
        const int error = errno;
        if (IsRetired()) return std::nullopt;
        if (count > 0) return Collect(events.data(), count, readable);
        if (count < 0 && error != EINTR) {
            errno = error;
            return -1;
        }
        left.Update();
        if (left.IsOver()) return 0;
    }
}

// The sets that are kept. Threads that end with the process may still be waiting, so it is never destroyed.
struct WatchSets {
    std::mutex mutex;
    std::vector<std::shared_ptr<WatchSet>> kept;  // the last used is the last

    template <class Predicate>
    void Retire(Predicate concerns) {
        const std::lock_guard<std::mutex> lock(mutex);
        std::erase_if(kept, [&concerns](const std::shared_ptr<WatchSet>& set) {
            if (!concerns(*set)) return false;
            set->Retire();
            return true;
        });
    }
};

WatchSets& Sets() {
    return Undying<WatchSets>();
}

// A set that a thread waits on has to stay in reach of RetireWatchSets.
void MakeRoom(std::vector<std::shared_ptr<WatchSet>>& kept) {
    if (kept.size() < KeptSets) return;
    const auto idle = std::ranges::find_if(kept, [](const auto& set) { return set.use_count() == 1; });
    if (idle != kept.end()) kept.erase(idle);
}

// Those of the sockets that are closed by now.
int CollectClosed(std::span<const UINT_PTR> sockets, UINT_PTR* closed) {
    int found = 0;
    for (const UINT_PTR handle : sockets)
        if (!LookUpObject<DatagramSocket>(reinterpret_cast<HANDLE>(handle))) closed[found++] = handle;
    return found;
}

// Null with errno if it can't be had.
std::shared_ptr<WatchSet> SetOf(std::span<const UINT_PTR> sockets) {
    const std::lock_guard<std::mutex> lock(Sets().mutex);
    auto& kept = Sets().kept;
    for (auto set = kept.rbegin(); set != kept.rend(); ++set) {
        if (!(*set)->Is(sockets)) continue;
        std::swap(*set, kept.back());
        return kept.back();
    }

    auto made = std::make_shared<WatchSet>();
    if (const int error = made->Fill(sockets); error != 0) {
        errno = error;
        return nullptr;
    }
    MakeRoom(kept);
    kept.push_back(made);
    return made;
}

}  // namespace

int WaitUntilReadable(std::span<const UINT_PTR> sockets, std::optional<microseconds> limit,
                      UINT_PTR* readable) {
    // A thread waits on the same set again and again.
    thread_local std::shared_ptr<WatchSet> set;
    std::optional<TimeLeft> left;
    for (;;) {
        if (set == nullptr || set->IsRetired() || !set->Is(sockets)) set = SetOf(sockets);
        if (set == nullptr) return -1;
        FreezeWhileSuspended();
        if (const int found = set->CollectReadAhead(readable); found != 0) return found;
        if (left)
            left->Update();
        else
            left.emplace(limit);
        const std::optional<int> outcome = set->Wait(*left, readable);
        const int error = errno;
        FreezeWhileSuspended();
        errno = error;
        if (outcome) return *outcome;
        // As on Windows, a socket that is closed under the wait is reported, and reading it shows the rest.
        if (const int closed = CollectClosed(sockets, readable); closed != 0) return closed;
    }
}

void RetireWatchSets(const DatagramSocket& socket) {
    Sets().Retire([&socket](const WatchSet& set) { return set.Has(socket); });
}

void WakeWaiters(const DatagramSocket& socket) {
    Sets().Retire([&socket](const WatchSet& set) { return set.HasWaiters() && set.Has(socket); });
}
