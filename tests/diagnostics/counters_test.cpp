#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <latch>
#include <list>
#include <random>
#include <thread>
#include <vector>

#include "diagnostics/recent_clients.h"
#include "diagnostics/service_counters.h"

namespace {

SeenClient Seen(unsigned number, std::int64_t time) {
    SeenClient seen = {};
    seen.length = static_cast<std::uint8_t>(1 + number % 16);
    std::memcpy(seen.address, &number, std::min<std::size_t>(seen.length, sizeof number));
    seen.last = time;
    return seen;
}

bool IsSame(const SeenClient& one, const SeenClient& other) {
    return one.length == other.length && std::memcmp(one.address, other.address, sizeof one.address) == 0;
}

// Opposite a list that is searched from end to end.
TEST(RecentClients, AreThoseThatWereNotedLast) {
    RecentClients table;
    std::list<SeenClient> model;  // the newest first
    std::uint64_t forgotten = 0;
    std::mt19937 random(1);
    for (std::int64_t time = 1; time <= 8000; ++time) {
        const SeenClient seen = Seen(random() % 1500, time);
        const auto at = std::ranges::find_if(model, [&](const auto& kept) { return IsSame(kept, seen); });
        SeenClient kept = at == model.end() ? seen : *at;
        if (at != model.end()) model.erase(at);
        if (++kept.count == 1) kept.first = time;
        kept.last = time;
        model.push_front(kept);
        if (model.size() > RecentClients::Places) {
            EXPECT_TRUE(table.Find(model.back().address, model.back().length));
            ++forgotten;
        }
        table.Note(seen);
        if (model.size() > RecentClients::Places) {
            EXPECT_FALSE(table.Find(model.back().address, model.back().length)) << "the oldest goes";
            model.pop_back();
        }
    }
    EXPECT_GT(forgotten, 100u);
    EXPECT_EQ(table.Forgotten(), forgotten);
    std::vector<SeenClient> all(RecentClients::Places + 1);
    std::size_t count = 0;
    for (std::size_t step = 0; (step = table.Copy(count, &all[count], 100)) != 0;)
        count += step;
    ASSERT_EQ(count, model.size());
    for (const SeenClient& due : model) {
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const auto& is) { return IsSame(is, due); });
        ASSERT_NE(found, all.end());
        EXPECT_EQ(std::tuple(found->first, found->last, found->count),
                  std::tuple(due.first, due.last, due.count));
    }
}

// There are sixteen copies of the counters, so the first thread and the last one share theirs.
TEST(ServiceCounters, LoseNothingOfThreadsThatShareThem) {
    constexpr unsigned Threads = 17, Times = 2000000;
    const ServiceCounts before = ReadServiceCounts();
    std::vector<std::thread> threads;
    std::latch allThere(Threads);
    for (unsigned number = 0; number < Threads; ++number) {
        std::latch there(1);
        threads.emplace_back([&, times = number % (Threads - 1) == 0 ? Times : 1] {
            CountPoolThread(1);
            CountFailedSends(0);
            there.count_down();
            allThere.arrive_and_wait();
            for (unsigned i = 0; i < times; ++i) {
                CountReply(ReplyKind::Nak, ReplyRoute::Directed);
                CountRefusal(RequestKind::Inform, Refusal::Dropped);
            }
            CountPoolThread(-1);
        });
        there.wait();
    }
    for (std::thread& thread : threads)
        thread.join();
    constexpr std::uint64_t All = 2 * Times + Threads - 2;
    CountReload(true);
    CountReload(false);
    const ServiceCounts after = ReadServiceCounts();
    const auto grown = [&](const auto& counts, auto... place) {
        return ((counts(after, place...)) - counts(before, place...));
    };
    const auto request = [](const ServiceCounts& counts, RequestKind kind) {
        return counts.requests[static_cast<std::size_t>(kind)];
    };
    EXPECT_EQ(grown(request, RequestKind::Request), All) << "that is what gets a NAK";
    EXPECT_EQ(grown(request, RequestKind::Inform), All);
    EXPECT_EQ(grown(request, RequestKind::Reload), 2u);
    EXPECT_EQ(grown([](const ServiceCounts& counts) { return counts.replies[3][2]; }), All);
    EXPECT_EQ(grown([](const ServiceCounts& counts) { return counts.refusals[5]; }), All);
    EXPECT_EQ(grown([](const ServiceCounts& counts) { return counts.reloadsDone; }), 1u);
    EXPECT_EQ(grown([](const ServiceCounts& counts) { return counts.reloadsRefused; }), 1u);
    EXPECT_EQ(after.poolThreads, before.poolThreads);
}

}  // namespace
