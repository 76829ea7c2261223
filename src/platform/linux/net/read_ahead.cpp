#include "platform/linux/net/read_ahead.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/arrivals.h"
#include "platform/linux/memory/page_memory.h"
#include "platform/linux/net/datagram_calls.h"
#include "platform/linux/system/fetch_count.h"

namespace {

constexpr std::size_t LargestDatagram = 65536;
// Addresses without memory until a datagram of that size comes. The step isn't a power of two, or
// the beginnings of all of them would compete for the same lines of the cache.
constexpr std::size_t Step = LargestDatagram + 640;
constexpr std::size_t Storage = Step * ReadAhead::Depth;

constexpr int Attempts = 8;

// What a router or host sent back about an earlier datagram. It says nothing about this call.
bool IsNewsOfEarlierSend(int error) {
    return error == ECONNREFUSED || error == EHOSTUNREACH || error == ENETUNREACH || error == EHOSTDOWN ||
           error == ENOPROTOOPT || error == EPROTO || error == EMSGSIZE;
}

thread_local const ArrivalWatch* watch = nullptr;

std::byte* MapStorage() {
    void* storage = MapPages(Storage);
    if (storage == nullptr) throw std::bad_alloc();
    return static_cast<std::byte*>(storage);
}

}  // namespace

ArrivalWatch::ArrivalWatch(Show show, const void* argument) : show_(show), argument_(argument) {
    watch = this;
}

ArrivalWatch::~ArrivalWatch() {
    watch = nullptr;
}

ReadAhead::ReadAhead() : storage_(MapStorage()) {
    for (unsigned i = 0; i < Depth; ++i) {
        places_[i] = {storage_ + i * Step, LargestDatagram};
        messages_[i] = {};
        messages_[i].msg_hdr.msg_name = &senders_[i];
        messages_[i].msg_hdr.msg_iov = &places_[i];
        messages_[i].msg_hdr.msg_iovlen = 1;
    }
}

ReadAhead::~ReadAhead() {
    UnmapPages(storage_, Storage);
}

int ReadAhead::Fill(int descriptor) {
    next_ = count_ = 0;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        for (mmsghdr& message : messages_)
            message.msg_hdr.msg_namelen = sizeof(sockaddr_in);
        const int received = ReceiveDatagrams(descriptor, messages_.data(), Depth);
        if (received > 0) {
            count_ = static_cast<unsigned>(received);
            fetch_ = ++fetchCount;
            ShowArrivals();
            return 0;
        }
        if (errno != EINTR && !IsNewsOfEarlierSend(errno)) return errno;
    }
    return EAGAIN;
}

void ReadAhead::ShowArrivals() const {
    if (watch == nullptr) return;
    std::array<Arrival, Depth> arrivals;
    for (unsigned i = 0; i < count_; ++i)
        arrivals[i] = {static_cast<const unsigned char*>(places_[i].iov_base), messages_[i].msg_len};
    watch->ShowThem(arrivals.data(), count_);
}

std::size_t ReadAhead::Take(void* buffer, std::size_t size, sockaddr_in& from) {
    const unsigned first = next_++;
    const std::size_t length = messages_[first].msg_len;
    from = senders_[first];
    fetchOfLastDatagram = fetch_;
    if (const std::size_t wanted = std::min(size, length); wanted != 0)
        std::memcpy(buffer, places_[first].iov_base, wanted);
    return length;
}
