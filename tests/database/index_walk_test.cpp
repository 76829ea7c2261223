// The index against the walk: every outcome of a lookup, on random lists and random requests.
#include <algorithm>
#include <cstring>
#include <random>

#include "database/lookup/client_index.h"
#include "database_fixture.h"

namespace {

using Random = std::mt19937;

// How a list's addresses come about: from how many byte values, of what lengths, and what stands behind them.
struct Shape {
    const char* name;
    unsigned count, alphabet, shortest, longest, commonPrefix;
    bool fillBehind;  // random bytes behind chaddr, so that requests above 16 bytes tell twins apart
};

const Shape Shapes[] = {
    {"one", 1, 256, 6, 6, 0, false},     {"fleet", 300, 256, 6, 6, 3, false},
    {"crowded", 200, 2, 6, 6, 0, false}, {"mixed lengths", 200, 3, 1, 16, 0, false},
    {"twins", 200, 2, 1, 3, 0, true},    {"long twins", 120, 2, 16, 16, 14, true},
    {"zeros", 50, 1, 1, 16, 0, true},    {"late difference", 200, 256, 16, 16, 12, false},
};

class IndexWalkTest : public DatabaseTest, public ::testing::WithParamInterface<Shape> {
  protected:
    ~IndexWalkTest() override {
        for (ClientEntry* entry = walked; entry != nullptr; entry = entry->next)
            CloseHandle(entry->mutex);
    }

    ClientEntry* MakeList(unsigned seed) {
        Random random(seed);
        const Shape& shape = GetParam();
        ClientEntry* head = nullptr;
        ClientEntry** tail = &head;
        for (unsigned at = 0; at < shape.count; ++at) {
            auto* entry = static_cast<ClientEntry*>(
                HeapAlloc(heap, HEAP_ZERO_MEMORY, sizeof(ClientEntry) - EntryOverhead + EntryUnit));
            entry->mutex = CreateMutexA(nullptr, FALSE, nullptr);
            entry->templateCapacity = 60;
            FillAddress(entry, &random);
            entry->packet.yiaddr = {{10, 0, static_cast<BYTE>(at >> 8), static_cast<BYTE>(at)}};
            entry->packet.htype = static_cast<BYTE>(1 + (random() % 16 == 0));
            const BYTE options[] = {12, 1, static_cast<BYTE>(at), 255};
            std::memcpy(Options(&entry->packet), options, sizeof(options));
            *tail = entry;
            tail = &entry->next;
        }
        return head;
    }

    void FillAddress(ClientEntry* entry, Random* random) {
        const Shape& shape = GetParam();
        const unsigned length = shape.shortest + (*random)() % (shape.longest - shape.shortest + 1);
        for (unsigned at = 0; at < length; ++at)
            entry->packet.chaddr[at] =
                static_cast<BYTE>(at < shape.commonPrefix ? 0xA0 : (*random)() % shape.alphabet);
        if (!shape.fillBehind) return;
        for (char& byte : entry->packet.sname)
            byte = static_cast<char>((*random)() % 2);
    }

    // A request for some entry's bytes, of any length, often with a byte changed or with something behind
    // them.
    Datagram MakeRequest(Random* random) {
        auto nth = (*random)() % GetParam().count;
        const ClientEntry* entry = walked;
        while (nth-- > 0)
            entry = entry->next;
        Datagram datagram((*random)() % 4 == 0 ? 241 + (*random)() % 60 : 300, {});
        BootPacket* packet = datagram.Packet();
        std::memcpy(packet, &entry->packet, sizeof(BootPacket));
        if ((*random)() % 2 == 0 && datagram.length >= 244)
            std::memcpy(Options(packet), "\x35\x01\x01\xff", 4);
        packet->op = BootRequestOpcode;
        packet->htype = 1;
        const unsigned kind = (*random)() % 4;
        packet->hlen = static_cast<BYTE>(kind == 0 ? (*random)() % 256 : kind == 1 ? 6 : (*random)() % 20);
        if ((*random)() % 3 == 0)
            datagram.block[28 + (*random)() % 80] ^= static_cast<BYTE>(1 + (*random)() % 3);
        return datagram;
    }

    ClientEntry* walked = nullptr;
};

TEST_P(IndexWalkTest, EveryOutcomeIsTheSame) {
    WriteBootptab("[Options]\n");
    ClientEntry* indexed = MakeList(1);
    walked = MakeList(1);
    indexed->index = BuildClientIndex(heap, indexed);
    ASSERT_NE(indexed->index, nullptr);
    int found = 0;
    Random random(100);
    for (int round = 0; round < 5000; ++round) {
        Datagram byWalk = MakeRequest(&random);
        Datagram byIndex = byWalk;
        list = walked;
        const int walkStatus = Find(&byWalk, 3);
        list = indexed;
        ASSERT_EQ(Find(&byIndex, 3), walkStatus) << "hlen " << int{byIndex.Packet()->hlen};
        ASSERT_EQ(byIndex.block, byWalk.block) << "hlen " << int{byIndex.Packet()->hlen};
        found += walkStatus != FindUnknownClient;
    }
    for (ClientEntry *left = walked, *right = indexed; left != nullptr;
         left = left->next, right = right->next)
        EXPECT_EQ(left->hits, right->hits);
    EXPECT_GT(found, 1000);
}

INSTANTIATE_TEST_SUITE_P(Shapes, IndexWalkTest, ::testing::ValuesIn(Shapes), [](const auto& shape) {
    std::string name = shape.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

TEST(ClientIndexTest, AFleetNeedsFewTables) {
    const HANDLE heap = HeapCreate(0, 20000, 0);
    Random random(5);
    constexpr DWORD count = 20000;
    std::vector<ClientEntry> entries(count);
    for (DWORD at = 0; at < count; ++at) {
        BYTE* const address = entries[at].packet.chaddr;
        address[1] = 0x1A;
        address[2] = static_cast<BYTE>(at % 20);
        std::generate(address + 3, address + 6, [&] { return static_cast<BYTE>(random()); });
        entries[at].next = at + 1 < count ? &entries[at + 1] : nullptr;
    }
    const ClientIndex* index = BuildClientIndex(heap, entries.data());
    ASSERT_NE(index, nullptr);
    std::size_t bytes = sizeof(*index) + index->slotCount * sizeof(IndexedClient);
    for (const PrefixTable& table : index->tables)
        bytes += table.slotCount * sizeof(PrefixSlot);
    EXPECT_LE(bytes, 43u * count);
    // A wrong guess would be no fault, but of no use either.
    for (const ClientEntry& entry : entries) {
        const IndexedClient* found = FindIndexedClient(index, entry.packet.chaddr, 6);
        ASSERT_EQ(GuessIndexedClient(index, entry.packet.chaddr, 6), found);
    }
    HeapDestroy(heap);
}

}  // namespace
