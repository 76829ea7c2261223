#include "diagnostics/service_counters.h"

constinit thread_local ReplyCounters* OwnReplyCounters = nullptr;

namespace {

using Counter = std::atomic<std::uint64_t>;

// The counters of requests, in as many copies as there may be processors at work: a thread keeps to one of
// them, so that its cache lines stay where it runs. Threads that share a copy count right all the same.
constexpr unsigned Stripes = 16;

// A multiple of what processors fetch at once.
constexpr std::size_t StripeAlignment = 128;

struct alignas(StripeAlignment) Stripe : ReplyCounters {
    Counter refusedKinds[RequestKinds];
    Counter refusals[Refusals];
    Counter failedSends;
};

constinit Stripe AllStripes[Stripes];
constinit std::atomic<unsigned> NextStripe;

constinit Counter ReloadsDone;
constinit Counter ReloadsRefused;
constinit Counter PoolThreads;

Stripe& Own() {
    return static_cast<Stripe&>(OwnReplyCounters != nullptr ? *OwnReplyCounters : *TakeReplyCounters());
}

void Add(Counter& counter, std::uint64_t amount = 1) {
    counter.fetch_add(amount, std::memory_order_relaxed);
}

template <std::size_t N>
void AddAll(std::uint64_t (&sums)[N], const Counter (&counters)[N]) {
    for (std::size_t i = 0; i < N; ++i)
        sums[i] += counters[i].load(std::memory_order_relaxed);
}

}  // namespace

ReplyCounters* TakeReplyCounters() {
    return OwnReplyCounters = &AllStripes[NextStripe.fetch_add(1) % Stripes];
}

void CountRefusal(RequestKind kind, Refusal reason) {
    Stripe& own = Own();
    Add(own.refusedKinds[static_cast<std::size_t>(kind)]);
    Add(own.refusals[static_cast<std::size_t>(reason)]);
}

void CountFailedSends(unsigned count) {
    Add(Own().failedSends, count);
}

void CountReload(bool done) {
    Add(done ? ReloadsDone : ReloadsRefused);
}

void CountPoolThread(int change) {
    Add(PoolThreads, static_cast<std::uint64_t>(static_cast<std::int64_t>(change)));
}

ServiceCounts ReadServiceCounts() {
    ServiceCounts counts = {};
    for (const Stripe& stripe : AllStripes) {
        for (std::size_t kind = 0; kind < ReplyKinds; ++kind)
            AddAll(counts.replies[kind], stripe.cells[kind]);
        AddAll(counts.requests, stripe.refusedKinds);
        AddAll(counts.refusals, stripe.refusals);
        counts.failedSends += stripe.failedSends.load(std::memory_order_relaxed);
    }
    for (std::size_t kind = 0; kind < ReplyKinds; ++kind)
        for (const std::uint64_t replies : counts.replies[kind])
            counts.requests[static_cast<std::size_t>(RequestOf(static_cast<ReplyKind>(kind)))] += replies;
    counts.reloadsDone = ReloadsDone.load(std::memory_order_relaxed);
    counts.reloadsRefused = ReloadsRefused.load(std::memory_order_relaxed);
    counts.requests[static_cast<std::size_t>(RequestKind::Reload)] +=
        counts.reloadsDone + counts.reloadsRefused;
    counts.poolThreads = PoolThreads.load(std::memory_order_relaxed);
    return counts;
}
