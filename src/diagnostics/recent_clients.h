// The hardware addresses of which something was noted last, 1,024 at most: a new one takes the place of the
// one that was noted longest ago.
//
// Whoever may send datagrams may fill it, so it takes no memory beyond its own, and a bounded time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

#include "request/boot_packet.h"

struct SeenClient {
    std::uint8_t address[HardwareAddressSize];  // zeros after `length` bytes
    std::uint8_t length;
    std::uint8_t kind;     // what was asked for, or given
    std::uint8_t outcome;  // why there was no reply, or the way that it took
    IpAddress peer;        // the relay agent, or the address that was given
    IpAddress local;       // the interface
    std::int64_t first;    // seconds since 1970
    std::int64_t last;
    std::uint64_t count;
};

// Any thread may call any of them; each holds a lock for as long as it takes.
class RecentClients {
  public:
    static constexpr std::size_t Places = 1024;

    // `first` and `count` are kept here; of the others the latest counts.
    void Note(const SeenClient& seen);

    std::optional<SeenClient> Find(const std::uint8_t (&address)[HardwareAddressSize], std::uint8_t length);

    // The clients from place `from` on, `room` of them at most; returns how many. Fewer than `room` are the
    // last ones. An address stays at its place until it is pushed out.
    std::size_t Copy(std::size_t from, SeenClient* clients, std::size_t room);

    // How many were pushed out.
    std::uint64_t Forgotten();

  private:
    // A place plus 1; 0 is none.
    using Link = std::uint16_t;

    struct Place {
        SeenClient client;
        Link nextInBucket;
        Link older;
        Link newer;
    };

    Place& At(Link link) { return places_[link - 1]; }
    Link& BucketOf(const SeenClient& client);
    Link FindLink(const SeenClient& client);
    Link TakePlace();
    void LeaveBucket(Link link);
    void Unlink(Link link);
    void MakeNewest(Link link);

    std::mutex lock_;
    std::uint64_t seed_ = 0;  // keeps strangers from choosing addresses that fall into one bucket
    std::uint64_t forgotten_ = 0;
    Link used_ = 0;
    Link oldest_ = 0;
    Link newest_ = 0;
    Link buckets_[Places] = {};
    Place places_[Places] = {};
};

extern RecentClients UnansweredClients;    // kind: RequestKind, outcome: Refusal
extern RecentClients ClientsReadFromFile;  // answered without an entry in the list; ReplyKind, ReplyRoute
