// What the service has done since the process began, in numbers.
//
// Any thread may count and read at any time, and waits for nobody. A reader gets each number as it was at
// some moment during the call, not all of one moment.
#pragma once

#include <atomic>

#include "diagnostics/outcome.h"

// Those that a thread counts its replies in; null until it has some.
struct ReplyCounters {
    std::atomic<std::uint64_t> cells[ReplyKinds][ReplyRoutes];
};
extern constinit thread_local ReplyCounters* OwnReplyCounters;
ReplyCounters* TakeReplyCounters();

// On the road of each reply.
inline void CountReply(ReplyKind kind, ReplyRoute route) {
    ReplyCounters* const own = OwnReplyCounters != nullptr ? OwnReplyCounters : TakeReplyCounters();
    own->cells[static_cast<std::size_t>(kind)][static_cast<std::size_t>(route)].fetch_add(
        1, std::memory_order_relaxed);
}
void CountRefusal(RequestKind kind, Refusal reason);
void CountFailedSends(unsigned count);
void CountReload(bool done);
void CountPoolThread(int change);  // +1 at a thread's start, -1 at its end

struct ServiceCounts {
    std::uint64_t requests[RequestKinds];  // answered or not
    std::uint64_t replies[ReplyKinds][ReplyRoutes];
    std::uint64_t refusals[Refusals];
    std::uint64_t failedSends;  // a reply may be tried twice
    std::uint64_t reloadsDone;
    std::uint64_t reloadsRefused;
    std::uint64_t poolThreads;  // now
};
ServiceCounts ReadServiceCounts();
