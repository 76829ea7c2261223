// What a block for one datagram costs, alone and with other threads on the same heap, and what a heap does as
// a whole.
#include <benchmark/benchmark.h>

#include <array>

#include "platform/windows_api.h"

namespace {

constexpr SIZE_T DatagramBlock = 600;
constexpr SIZE_T EntryBlock = 400;

HANDLE SharedHeap() {
    static const HANDLE heap = HeapCreate(0, 20000, 0);
    return heap;
}

void BM_HeapBlock(benchmark::State& state) {
    const HANDLE heap = SharedHeap();
    for (auto _ : state) {
        LPVOID block = HeapAlloc(heap, HEAP_ZERO_MEMORY, DatagramBlock);
        if (block == nullptr) state.SkipWithError("no block");
        benchmark::DoNotOptimize(block);
        HeapFree(heap, 0, block);
    }
}
BENCHMARK(BM_HeapBlock)->Threads(1)->Threads(2)->Threads(11)->UseRealTime();

// As many requests under way as the pool has threads.
void BM_HeapBlocksAtOnce(benchmark::State& state) {
    const HANDLE heap = SharedHeap();
    std::array<LPVOID, 11> blocks;
    for (auto _ : state) {
        for (LPVOID& block : blocks)
            block = HeapAlloc(heap, HEAP_ZERO_MEMORY, DatagramBlock);
        for (LPVOID block : blocks)
            HeapFree(heap, 0, block);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(blocks.size()));
}
BENCHMARK(BM_HeapBlocksAtOnce);

// A load fills a heap with entries, and the next load lets go of all of them at once.
void BM_HeapOfEntries(benchmark::State& state) {
    for (auto _ : state) {
        const HANDLE heap = HeapCreate(0, 20000, 0);
        for (std::int64_t i = 0; i < state.range(0); ++i)
            benchmark::DoNotOptimize(HeapAlloc(heap, HEAP_ZERO_MEMORY, EntryBlock));
        HeapDestroy(heap);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_HeapOfEntries)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMicrosecond);

}  // namespace
