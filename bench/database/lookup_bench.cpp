// What answering costs: FindClient over lists of many sizes, and the parts that it is made of.
#include <benchmark/benchmark.h>

#include <cstring>
#include <iterator>
#include <memory>
#include <random>

#include "database/database_result.h"
#include "database/lookup/client_index.h"
#include "database/lookup/find_client.h"
#include "database/lookup/vendor_area.h"
#include "sample_database.h"

namespace {

constexpr IpAddress Server = {{10, 0, 0, 1}};
constexpr BYTE Request[] = {53, 1, 3, 55, 6, 1, 3, 6, 12, 15, 28, 255};
constexpr std::size_t PacketLength = 300;

// One loaded database at a time: the largest takes most of a gigabyte.
SampleDatabase& Loaded(DWORD clients) {
    static std::unique_ptr<SampleDatabase> database;
    static DWORD size = 0;
    if (size != clients) {
        database.reset();
        database = std::make_unique<SampleDatabase>(clients);
        if (database->Load() != DatabaseOk) std::abort();
        size = clients;
    }
    return *database;
}

void FillRequest(BYTE* block, DWORD client) {
    std::memset(block, 0, PacketLength);
    auto* packet = reinterpret_cast<BootPacket*>(block);
    packet->op = BootRequestOpcode;
    packet->htype = 1;
    packet->hlen = 6;
    SampleAddress(client, packet->chaddr);
    std::memcpy(Options(packet), Request, sizeof(Request));
}

// Random picks out of `different` clients that are spread over the list.
std::vector<DWORD> RandomOrder(DWORD clients, DWORD different) {
    std::mt19937 random(1);
    std::vector<DWORD> order(1 << 16);
    for (DWORD& client : order)
        client = static_cast<DWORD>(random() % different) * (clients / different);
    return order;
}

// Requests as they come from the kernel: several at a time.
struct Batch {
    BYTE blocks[16][600] = {};
    Arrival arrivals[16];

    void Fill(const DWORD* clients) {
        for (std::size_t i = 0; i < std::size(blocks); ++i) {
            FillRequest(blocks[i], clients[i]);
            arrivals[i] = {blocks[i], PacketLength};
        }
    }
};

enum class Foresight : bool { None, WholeBatch };

void FindClients(benchmark::State& state, DWORD different, Foresight foresight = Foresight::None) {
    const auto clients = static_cast<DWORD>(state.range(0));
    SampleDatabase& database = Loaded(clients);
    const std::vector<DWORD> order = RandomOrder(clients, different);
    Batch batch;
    char media[100] = {};
    std::size_t at = 0;
    for (auto _ : state) {
        const std::size_t turn = at % std::size(batch.blocks);
        if (turn == 0) batch.Fill(&order[at & 0xFFFF]);
        if (turn == 0 && foresight == Foresight::WholeBatch)
            AnticipateClients(database.list, batch.arrivals, std::size(batch.arrivals));
        BYTE* const block = batch.blocks[turn];
        const int status = FindClient(0, database.heap, database.path.c_str(), &database.total, database.list,
                                      database.catalogue.data(), reinterpret_cast<BootPacket*>(block),
                                      block + PacketLength, Server, database.listMutex, 1, media);
        if (status != FindListedDhcp) state.SkipWithError("no DHCP reply from the list");
        ++at;
    }
}

// A hundred clients ask again and again: what the length of the list itself costs.
void BM_FindClient(benchmark::State& state) {
    FindClients(state, 100);
}
BENCHMARK(BM_FindClient)->RangeMultiplier(10)->Range(100, 1000000);

// All clients ask in random order, so that entries and mutexes of a long list come from memory, not from a
// cache.
void BM_FindClientCold(benchmark::State& state) {
    FindClients(state, static_cast<DWORD>(state.range(0)));
}
BENCHMARK(BM_FindClientCold)->RangeMultiplier(10)->Range(100, 1000000);

// The same when what they read is fetched for sixteen at once.
void BM_FindClientAnticipated(benchmark::State& state) {
    FindClients(state, static_cast<DWORD>(state.range(0)), Foresight::WholeBatch);
}
BENCHMARK(BM_FindClientAnticipated)->RangeMultiplier(10)->Range(100, 1000000);

void BM_FindIndexedClient(benchmark::State& state) {
    const auto clients = static_cast<DWORD>(state.range(0));
    SampleDatabase& database = Loaded(clients);
    const std::vector<DWORD> order = RandomOrder(clients, clients);
    BYTE address[HardwareAddressSize] = {};
    std::size_t at = 0;
    for (auto _ : state) {
        SampleAddress(order[at++ & 0xFFFF], address);
        benchmark::DoNotOptimize(FindIndexedClient(database.list->index, address, 6));
    }
}
BENCHMARK(BM_FindIndexedClient)->RangeMultiplier(10)->Range(100, 1000000);

void BM_TransientClient(benchmark::State& state) {
    SampleDatabase& database = Loaded(1000);
    BYTE block[600] = {};
    char media[100] = {};
    DWORD client = 0;
    for (auto _ : state) {
        FillRequest(block, client++ % 1000);
        benchmark::DoNotOptimize(FindClient(0, database.heap, database.path.c_str(), &database.total, nullptr,
                                            database.catalogue.data(), reinterpret_cast<BootPacket*>(block),
                                            block + PacketLength, Server, database.listMutex, 1, media));
    }
}
BENCHMARK(BM_TransientClient);

void BM_ComposeDhcpReply(benchmark::State& state) {
    SampleDatabase& database = Loaded(1000);
    BYTE block[600] = {};
    FillRequest(block, 0);
    auto* packet = reinterpret_cast<BootPacket*>(block);
    for (auto _ : state) {
        std::memcpy(Options(packet), Request, sizeof(Request));
        benchmark::DoNotOptimize(ComposeDhcpReply(packet, block + PacketLength, database.list, Server));
    }
}
BENCHMARK(BM_ComposeDhcpReply);

}  // namespace
