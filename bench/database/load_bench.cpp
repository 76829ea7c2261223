// What a load costs, and the parts that it is made of.
#include <benchmark/benchmark.h>

#include <cstring>

#include "database/database_result.h"
#include "database/load/option_encoding.h"
#include "database/lookup/client_index.h"
#include "sample_database.h"

namespace {

void BM_Load(benchmark::State& state) {
    SampleDatabase database(static_cast<DWORD>(state.range(0)));
    for (auto _ : state) {
        if (database.Load() != DatabaseOk) state.SkipWithError("the load failed");
        state.PauseTiming();
        database.Unload();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Load)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

void BM_BuildClientIndex(benchmark::State& state) {
    SampleDatabase database(static_cast<DWORD>(state.range(0)));
    if (database.Load() != DatabaseOk) std::abort();
    for (auto _ : state) {
        const HANDLE heap = HeapCreate(0, 20000, 0);
        benchmark::DoNotOptimize(BuildClientIndex(heap, database.list));
        HeapDestroy(heap);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_BuildClientIndex)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

void BM_AllocateClientEntry(benchmark::State& state) {
    SampleDatabase database(1000);
    DWORD number = 0;
    for (auto _ : state) {
        BYTE address[HardwareAddressSize] = {};
        SampleAddress(number++ % 1000, address);
        DWORD status = 0;
        ClientEntry* entry = AllocateClientEntry(0, database.heap, database.path.c_str(), &database.total,
                                                 &status, database.catalogue.data(), address, 6);
        if (status != DatabaseOk) state.SkipWithError("no entry");
        HeapFree(database.heap, 0, entry);
    }
}
BENCHMARK(BM_AllocateClientEntry);

void BM_EncodeOptionValue(benchmark::State& state) {
    SampleDatabase database(1);
    BYTE block[332] = {};
    auto* packet = reinterpret_cast<BootPacket*>(block);
    char value[OptionValueSize];
    for (auto _ : state) {
        std::memcpy(value, "10.0.0.2,10.0.0.3\0", 19);
        benchmark::DoNotOptimize(EncodeOptionValue(0, database.catalogue.data(), packet, Options(packet),
                                                   block + sizeof(block), "Name Servers", value));
    }
}
BENCHMARK(BM_EncodeOptionValue);

}  // namespace
