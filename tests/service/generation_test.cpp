#include "service/generation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// A record with a heap and the log's mutex, as far as the counting goes.
Generation* NewGeneration(DWORD mark) {
    ServerParameters record = {};
    record.ClientHeap = HeapCreate(0, 0, 0);
    record.LogMutex = CreateMutexA(nullptr, FALSE, nullptr);
    record.ExpireHits = mark;
    return MakeGeneration(&record);
}

TEST(Generation, LivesUntilItsLastUserLetsGo) {
    EXPECT_EQ(InstallGeneration(NewGeneration(1)), nullptr);
    Generation* const pinned = PinCurrentGeneration();
    const HANDLE heap = RecordOf(pinned).ClientHeap;

    ReleaseGeneration(InstallGeneration(NewGeneration(2)));
    EXPECT_EQ(RecordOf(pinned).ExpireHits, 1u);
    EXPECT_EQ(LiveParameters.ExpireHits, 2u);
    void* const block = HeapAlloc(heap, HEAP_ZERO_MEMORY, 100);
    EXPECT_NE(block, nullptr) << "the heap of a pinned generation is whole";
    EXPECT_FALSE(WaitForGenerations(0));

    ReleaseGeneration(pinned);
    EXPECT_EQ(HeapAlloc(heap, HEAP_ZERO_MEMORY, 100), nullptr) << "and gone with its last user";
    ReleaseGeneration(UninstallGeneration());
    EXPECT_TRUE(WaitForGenerations(0));
    EXPECT_EQ(PinCurrentGeneration(), nullptr);
}

TEST(Generation, RequestsUnderAllSwapsSeeWholeRecords) {
    InstallGeneration(NewGeneration(0));
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};
    std::vector<std::jthread> requests;
    for (int i = 0; i < 4; ++i)
        requests.emplace_back([&] {
            while (!stop) {
                const PinnedGeneration generation(nullptr);
                const ServerParameters& record = generation.record();
                void* const block = HeapAlloc(record.ClientHeap, HEAP_ZERO_MEMORY, 600);
                if (block == nullptr || !HeapFree(record.ClientHeap, 0, block)) ++torn;
                RoleTimeoutMilliseconds();
            }
        });
    for (DWORD i = 1; i <= 200; ++i)
        ReleaseGeneration(InstallGeneration(NewGeneration(i)));
    stop = true;
    requests.clear();
    EXPECT_EQ(torn, 0);
    ReleaseGeneration(UninstallGeneration());
    EXPECT_TRUE(WaitForGenerations(1000));
}

}  // namespace
