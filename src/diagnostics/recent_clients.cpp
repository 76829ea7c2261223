#include "diagnostics/recent_clients.h"

#include <algorithm>
#include <chrono>
#include <cstring>

RecentClients UnansweredClients;
RecentClients ClientsReadFromFile;

namespace {

bool IsSame(const SeenClient& one, const SeenClient& other) {
    return one.length == other.length && std::memcmp(one.address, other.address, sizeof one.address) == 0;
}

}  // namespace

RecentClients::Link& RecentClients::BucketOf(const SeenClient& client) {
    constexpr std::uint64_t Odd = 0x9E3779B97F4A7C15u;
    std::uint64_t halves[2];
    static_assert(sizeof halves == sizeof client.address);
    std::memcpy(halves, client.address, sizeof halves);
    std::uint64_t hash = (halves[0] ^ seed_) * Odd;
    hash = ((hash ^ hash >> 29) + halves[1] + client.length) * (Odd ^ (seed_ & ~std::uint64_t{1}));
    return buckets_[(hash ^ hash >> 32) % Places];
}

RecentClients::Link RecentClients::FindLink(const SeenClient& client) {
    Link link = BucketOf(client);
    while (link != 0 && !IsSame(At(link).client, client))
        link = At(link).nextInBucket;
    return link;
}

void RecentClients::LeaveBucket(Link link) {
    Link* at = &BucketOf(At(link).client);
    while (*at != link)
        at = &At(*at).nextInBucket;
    *at = At(link).nextInBucket;
}

void RecentClients::Unlink(Link link) {
    const Place& place = At(link);
    (place.older != 0 ? At(place.older).newer : oldest_) = place.newer;
    (place.newer != 0 ? At(place.newer).older : newest_) = place.older;
}

void RecentClients::MakeNewest(Link link) {
    At(link).older = newest_;
    At(link).newer = 0;
    (newest_ != 0 ? At(newest_).newer : oldest_) = link;
    newest_ = link;
}

// One that nobody has, else that of the oldest client.
RecentClients::Link RecentClients::TakePlace() {
    if (used_ < Places) return ++used_;
    const Link link = oldest_;
    LeaveBucket(link);
    Unlink(link);
    ++forgotten_;
    return link;
}

void RecentClients::Note(const SeenClient& seen) {
    const std::lock_guard hold(lock_);
    if (seed_ == 0)
        seed_ = static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) ^
                reinterpret_cast<std::uintptr_t>(&seen) << 20;
    Link link = FindLink(seen);
    SeenClient noted = seen;
    noted.first = seen.last;
    noted.count = 1;
    if (link != 0) {
        noted.first = At(link).client.first;
        noted.count += At(link).client.count;
        Unlink(link);
    } else {
        link = TakePlace();
        Link& bucket = BucketOf(seen);
        At(link).nextInBucket = bucket;
        bucket = link;
    }
    At(link).client = noted;
    MakeNewest(link);
}

std::optional<SeenClient> RecentClients::Find(const std::uint8_t (&address)[HardwareAddressSize],
                                              std::uint8_t length) {
    SeenClient wanted = {};
    std::memcpy(wanted.address, address, sizeof wanted.address);
    wanted.length = length;
    const std::lock_guard hold(lock_);
    const Link link = FindLink(wanted);
    if (link == 0) return std::nullopt;
    return At(link).client;
}

std::size_t RecentClients::Copy(std::size_t from, SeenClient* clients, std::size_t room) {
    const std::lock_guard hold(lock_);
    const std::size_t count = from < used_ ? std::min<std::size_t>(used_ - from, room) : 0;
    for (std::size_t i = 0; i < count; ++i)
        clients[i] = places_[from + i].client;
    return count;
}

std::uint64_t RecentClients::Forgotten() {
    const std::lock_guard hold(lock_);
    return forgotten_;
}
