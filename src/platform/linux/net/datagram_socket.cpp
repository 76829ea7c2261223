#include "platform/linux/net/datagram_socket.h"

#include <linux/sock_diag.h>
#include <poll.h>
#include <sys/socket.h>

#include <bit>
#include <cerrno>

#include "platform/arrivals.h"
#include "platform/linux/net/bound_descriptors.h"
#include "platform/linux/net/datagram_calls.h"
#include "platform/linux/net/watch_set.h"
#include "platform/linux/objects/promise.h"

namespace {

constexpr unsigned Own = 0;
constexpr std::uint32_t ClosedMark = 0x80000000;
constexpr int SendAttempts = 8;
// How long a full send buffer is waited for, and how long it isn't after that was in vain.
constexpr int RoomWaitMilliseconds = 5;
constexpr std::chrono::milliseconds NoWait{250};

constinit thread_local bool moreArrived = false;

}  // namespace

bool HaveMoreArrived() {
    return moreArrived;
}

DatagramSocket::DatagramSocket(Descriptor own) : Object(OwnType) {
    for (auto& descriptor : descriptors_)
        descriptor.store(-1, std::memory_order_relaxed);
    descriptors_[Own].store(own.Release(), std::memory_order_relaxed);
}

DatagramSocket::~DatagramSocket() {
    CloseDescriptors();
}

bool DatagramSocket::Enter() {
    if ((stays_.fetch_add(1, std::memory_order_acquire) & ClosedMark) == 0) return true;
    Leave();
    return false;
}

void DatagramSocket::Leave() {
    if (stays_.fetch_sub(1, std::memory_order_acq_rel) == (ClosedMark | 1)) stays_.notify_all();
}

bool DatagramSocket::IsClosed() const {
    return (stays_.load(std::memory_order_relaxed) & ClosedMark) != 0;
}

void DatagramSocket::OnLastHandleClosed() {
    std::uint32_t stays = stays_.fetch_or(ClosedMark, std::memory_order_acq_rel) | ClosedMark;
    RetireWatchSets(*this);
    for (; stays != ClosedMark; stays = stays_.load(std::memory_order_acquire))
        stays_.wait(stays, std::memory_order_acquire);
    CloseDescriptors();
}

void DatagramSocket::CloseDescriptors() {
    for (auto& descriptor : descriptors_)
        Descriptor(descriptor.exchange(-1, std::memory_order_acq_rel));
}

int DatagramSocket::SetOption(Option option, bool on) {
    const Stay stay(*this);
    if (!stay) return ENOTSOCK;
    const int native = option == Option::Broadcast ? SO_BROADCAST : SO_REUSEADDR;
    const int value = on ? 1 : 0;
    return setsockopt(DescriptorAt(Own), SOL_SOCKET, native, &value, sizeof value) == 0 ? 0 : errno;
}

int DatagramSocket::Bind(const sockaddr_in& address) {
    {
        const Stay stay(*this);
        if (!stay) return ENOTSOCK;
        const std::lock_guard<std::mutex> lock(binding_);
        if (hasPort_.load(std::memory_order_relaxed)) return EINVAL;

        sockaddr_in own = address;
        socklen_t ownLength = sizeof own;
        auto* generic = reinterpret_cast<sockaddr*>(&own);
        if (bind(DescriptorAt(Own), generic, sizeof own) != 0) return errno;
        hasPort_.store(true, std::memory_order_release);
        if (getsockname(DescriptorAt(Own), generic, &ownLength) != 0) return errno;

        BroadcastDescriptors broadcasts;
        if (const int error = OpenBroadcastDescriptors(own, broadcasts); error != 0) return error;
        descriptors_[1].store(broadcasts.limited.Release(), std::memory_order_release);
        descriptors_[2].store(broadcasts.directed.Release(), std::memory_order_release);
    }
    // Who waits on the socket already has to look at the new descriptors too.
    RetireWatchSets(*this);
    return 0;
}

// The caller holds receiving_.
int DatagramSocket::Fill(unsigned index) {
    readable_.fetch_and(~(1u << index), std::memory_order_relaxed);
    const Stay stay(*this);
    if (!stay) return ENOTSOCK;
    const int descriptor = DescriptorAt(index);
    const int error = descriptor < 0 ? EAGAIN : ahead_[index].Fill(descriptor);
    if (error == 0) filled_ |= 1u << index;
    return error;
}

// The one of them whose turn comes first; there has to be one.
unsigned DatagramSocket::InTurn(unsigned descriptors) const {
    const unsigned later = descriptors >> turn_ << turn_;
    return static_cast<unsigned>(std::countr_zero(later != 0 ? later : descriptors));
}

// The caller holds receiving_.
int DatagramSocket::FindDatagram(unsigned& from) {
    const unsigned readable = readable_.load(std::memory_order_relaxed);
    if (filled_ != 0) {
        // Nothing that is only likely comes first, as under load.
        from = InTurn(filled_ | readable);
        if ((filled_ >> from & 1) != 0) return 0;
    }
    for (const bool isLikely : {true, false}) {
        for (unsigned step = 0; step < Descriptors; ++step) {
            from = (turn_ + step) % Descriptors;
            if ((filled_ >> from & 1) != 0) return 0;
            if (((readable >> from & 1) != 0) != isLikely) continue;
            if (const int error = Fill(from); error != EAGAIN) return error;
        }
    }
    return EAGAIN;
}

int DatagramSocket::TryReceive(void* buffer, std::size_t size, sockaddr_in& from, std::size_t& length) {
    const std::lock_guard lock(receiving_);
    if (IsClosed()) return ENOTSOCK;
    if (!hasPort_.load(std::memory_order_acquire)) return EINVAL;

    unsigned index = 0;
    if (const int error = FindDatagram(index); error != 0) return error;
    length = ahead_[index].Take(buffer, size, from);
    if (ahead_[index].IsEmpty()) filled_ &= ~(1u << index);
    turn_ = index + 1 == Descriptors ? 0 : index + 1;
    moreArrived = filled_ != 0;
    NoteReadAhead(moreArrived);
    return 0;
}

// The kernel wakes no thread for a datagram that it has handed over.
void DatagramSocket::NoteReadAhead(bool isThere) {
    if (isThere == HasReadAhead()) return;
    hasReadAhead_.store(isThere);
    if (isThere) WakeWaiters(*this);
}

// False if there is none in time.
bool DatagramSocket::WaitForRoom(int descriptor) {
    using Clock = std::chrono::steady_clock;
    if (Clock::now().time_since_epoch().count() < noWaitBefore_.load(std::memory_order_relaxed)) return false;
    KeepPromise();
    pollfd room{.fd = descriptor, .events = POLLOUT, .revents = 0};
    if (poll(&room, 1, RoomWaitMilliseconds) != 0) return true;  // or interrupted, which the caller counts
    noWaitBefore_.store((Clock::now() + NoWait).time_since_epoch().count(), std::memory_order_relaxed);
    return false;
}

int DatagramSocket::Send(const void* data, std::size_t size, const sockaddr_in& to) {
    const Stay stay(*this);
    if (!stay) return ENOTSOCK;
    const int descriptor = DescriptorAt(Own);
    for (int attempt = 0; !IsClosed(); ++attempt) {
        if (SendDatagram(descriptor, data, size, to) >= 0) {
            if (!hasPort_.load(std::memory_order_relaxed)) hasPort_.store(true, std::memory_order_release);
            return 0;
        }
        const int error = errno;
        if (error == EAGAIN) {
            if (attempt == SendAttempts || !WaitForRoom(descriptor)) return ENOBUFS;
        } else if ((error != EINTR && error != ECONNREFUSED) || attempt == SendAttempts) {
            return error;
        }
    }
    return ENOTSOCK;
}

int DatagramSocket::AddReceiveDrops(std::uint64_t& drops) {
    const Stay stay(*this);
    if (!stay) return ENOTSOCK;
    for (unsigned index = 0; index < Descriptors; ++index) {
        const int descriptor = DescriptorAt(index);
        if (descriptor < 0) continue;
        std::uint32_t facts[SK_MEMINFO_VARS] = {};
        socklen_t size = sizeof facts;
        if (getsockopt(descriptor, SOL_SOCKET, SO_MEMINFO, facts, &size) != 0) return errno;
        drops += facts[SK_MEMINFO_DROPS];
    }
    return 0;
}
