#include "database/lookup/client_index.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <numeric>
#include <vector>

namespace {

using Address = std::array<BYTE, HardwareAddressSize>;

const BYTE* AddressBytes(const ClientEntry* entry) {
    return reinterpret_cast<const BYTE*>(&entry->packet) + offsetof(BootPacket, chaddr);
}

// Up to sixteen bytes of an address, in two words.
struct AddressWords {
    std::uint64_t first, second;

    bool operator==(const AddressWords&) const = default;
};

// Of sixteen bytes that are there the first `length`, followed by zeros.
AddressWords WordsOf(const BYTE* address, DWORD length) {
    static constexpr auto Masks = [] {
        std::array<BYTE, 2 * HardwareAddressSize> masks{};
        std::fill_n(masks.begin(), HardwareAddressSize, BYTE{0xFF});
        return masks;
    }();
    const BYTE* const mask = Masks.data() + HardwareAddressSize - length;
    AddressWords words;
    AddressWords wanted;
    std::memcpy(&words, address, sizeof words);
    std::memcpy(&wanted, mask, sizeof wanted);
    return {words.first & wanted.first, words.second & wanted.second};
}

// Makers number their devices, so the last bytes have to reach all bits.
std::uint64_t HashOf(const AddressWords& words) {
    std::uint64_t hash = words.first * 0x9E3779B97F4A7C15u ^ words.second * 0xC2B2AE3D27D4EB4Fu;
    hash = (hash ^ hash >> 32) * 0xD6E8FEB86659FD93u;
    return hash ^ hash >> 32;
}

DWORD TagOf(std::uint64_t hash) {
    return static_cast<DWORD>(hash >> 32);
}

// Scales the low half of the hash to the table, so that a table may have any size.
DWORD FirstSlot(std::uint64_t hash, DWORD slotCount) {
    return static_cast<DWORD>(((hash & 0xFFFFFFFFu) * slotCount) >> 32);
}

DWORD SlotAfter(DWORD slot, DWORD slotCount) {
    return slot + 1 == slotCount ? 0 : slot + 1;
}

// Five slots for four keys: short probes, and always an empty slot to end on.
DWORD SlotsFor(std::size_t keys) {
    return static_cast<DWORD>(keys + keys / 4 + 1);
}

template <class T>
T* AllocateArray(HANDLE heap, std::size_t count) {
    auto* array = static_cast<T*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, count * sizeof(T)));
    if (array == nullptr) throw std::bad_alloc();
    return array;
}

// What is needed while an index is built. Clients are named by their ordinals in the list.
struct Builder {
    HANDLE heap;
    ClientIndex* index;
    std::vector<IndexedClient> clients;
    std::vector<Address> addresses;
    std::vector<DWORD> places;  // in the main table, for the first client of each address
};

struct Insertion {
    DWORD slot;
    DWORD first;  // the first client inserted with the same prefix, which may be the given one
};

// While a table is built its slots name ordinals.
Insertion Insert(const PrefixTable& table, const std::vector<Address>& addresses, DWORD ordinal) {
    const BYTE* address = addresses[ordinal].data();
    const std::uint64_t hash = HashOf(WordsOf(address, table.keyLength));
    for (DWORD at = FirstSlot(hash, table.slotCount);; at = SlotAfter(at, table.slotCount)) {
        PrefixSlot& slot = table.slots[at];
        if (slot.placePlus1 == 0) {
            slot = {TagOf(hash), ordinal + 1};
            return {at, ordinal};
        }
        const DWORD first = slot.placePlus1 - 1;
        if (slot.tag == TagOf(hash) && std::memcmp(addresses[first].data(), address, table.keyLength) == 0) {
            return {at, first};
        }
    }
}

// Of `candidates`, which are in list order, those that are the first with their first `length` bytes.
std::vector<DWORD> FirstWithPrefix(const Builder& build, const std::vector<DWORD>& candidates, DWORD length) {
    std::vector<PrefixSlot> slots(SlotsFor(candidates.size()));
    const PrefixTable table = {slots.data(), static_cast<DWORD>(slots.size()), length};
    std::vector<DWORD> firsts;
    for (const DWORD ordinal : candidates) {
        if (Insert(table, build.addresses, ordinal).first == ordinal) firsts.push_back(ordinal);
    }
    return firsts;
}

// Puts the first client of each address in its slot and chains the others after it, in list order.
void AddMainTable(Builder* build, std::size_t addressCount, DWORD keyLength) {
    ClientIndex* index = build->index;
    const auto count = static_cast<DWORD>(build->clients.size());
    index->keyLength = keyLength;
    index->slotCount = SlotsFor(addressCount);
    index->slots = AllocateArray<IndexedClient>(build->heap, index->slotCount);
    if (count > addressCount) index->twins = AllocateArray<IndexedClient>(build->heap, count - addressCount);

    std::vector<PrefixSlot> slots(index->slotCount);
    const PrefixTable table = {slots.data(), index->slotCount, keyLength};
    std::vector<IndexedClient*> latest(count > addressCount ? count : 0);
    build->places.resize(count);
    DWORD twins = 0;
    for (DWORD ordinal = 0; ordinal < count; ++ordinal) {
        const auto [slot, first] = Insert(table, build->addresses, ordinal);
        IndexedClient* place = first == ordinal ? &index->slots[slot] : &index->twins[twins];
        *place = build->clients[ordinal];
        place->tag = slots[slot].tag;
        if (first == ordinal) {
            build->places[ordinal] = slot;
        } else {
            latest[first]->nextTwin = ++twins;
        }
        if (!latest.empty()) latest[first] = place;
    }
}

// Adds the table over `keyLength` bytes whose keys are those of `firsts`, for all lengths from there up to
// `above`.
void AddPrefixTable(Builder* build, BYTE number, const std::vector<DWORD>& firsts, DWORD keyLength,
                    DWORD above) {
    PrefixTable& table = build->index->tables[number];
    table.slotCount = SlotsFor(firsts.size());
    table.keyLength = keyLength;
    table.slots = AllocateArray<PrefixSlot>(build->heap, table.slotCount);
    for (const DWORD ordinal : firsts) {
        const DWORD slot = Insert(table, build->addresses, ordinal).slot;
        table.slots[slot].placePlus1 = ordinal + 1;
    }
    for (DWORD at = 0; at < table.slotCount; ++at) {
        DWORD& place = table.slots[at].placePlus1;
        if (place != 0) place = build->places[place - 1] + 1;
    }
    std::fill(build->index->tableOfLength + keyLength, build->index->tableOfLength + above, number);
}

// The bytes after the longest address are zero in all of them: longer prefixes tell no more apart.
DWORD LongestAddress(const std::vector<Address>& addresses) {
    Address used = {};
    for (const Address& address : addresses) {
        for (std::size_t at = 0; at < used.size(); ++at)
            used[at] |= address[at];
    }
    DWORD length = HardwareAddressSize;
    while (length > 1 && used[length - 1] == 0)
        --length;
    return length;
}

// Two lengths part the list alike if they have equally many different prefixes.
void BuildTables(Builder* build) {
    std::vector<DWORD> firsts(build->clients.size());
    std::iota(firsts.begin(), firsts.end(), 0u);
    DWORD length = LongestAddress(build->addresses);
    firsts = FirstWithPrefix(*build, firsts, length);

    DWORD above = 0;  // the key of the table before; none yet
    BYTE number = 0;
    const auto addTable = [&] {
        if (above == 0) {
            AddMainTable(build, firsts.size(), length);
        } else {
            AddPrefixTable(build, number++, firsts, length, above);
        }
        above = length;
    };
    for (; length > 1; --length) {
        std::vector<DWORD> fewer = FirstWithPrefix(*build, firsts, length - 1);
        if (fewer.size() == firsts.size()) continue;
        addTable();
        firsts = std::move(fewer);
    }
    addTable();
}

void ListClients(Builder* build, ClientEntry* listHead) {
    HANDLE guard = nullptr;
    for (ClientEntry* entry = listHead; entry != nullptr; entry = entry->next) {
        build->clients.push_back({entry, guard, 0, 0});
        guard = entry->mutex;
    }
    build->index->head = build->clients.front();
    build->addresses.resize(build->clients.size());
    for (std::size_t at = 0; at < build->clients.size(); ++at) {
        std::memcpy(build->addresses[at].data(), AddressBytes(build->clients[at].entry), HardwareAddressSize);
    }
}

// Starts to fetch so many bytes at once, where the reader would fetch one line after the other.
void Prefetch(const void* start, std::size_t bytes) {
    constexpr std::size_t CacheLine = 64;
    for (std::size_t at = 0; at < bytes + CacheLine; at += CacheLine)
        __builtin_prefetch(static_cast<const BYTE*>(start) + at);
}

// The slot of the first client that has the first `table.keyLength` bytes in common with `address`.
const IndexedClient* FindByPrefix(const ClientIndex* index, const PrefixTable& table, const BYTE* address) {
    const std::uint64_t hash = HashOf(WordsOf(address, table.keyLength));
    for (DWORD at = FirstSlot(hash, table.slotCount); table.slots[at].placePlus1 != 0;
         at = SlotAfter(at, table.slotCount)) {
        if (table.slots[at].tag != TagOf(hash)) continue;
        const IndexedClient* client = &index->slots[table.slots[at].placePlus1 - 1];
        if (HasAddress(client->entry, address, static_cast<BYTE>(table.keyLength))) return client;
    }
    return nullptr;
}

// The first slot with that hash of whose client `accepts` is true.
template <class Predicate>
const IndexedClient* FindByHash(const ClientIndex* index, std::uint64_t hash, Predicate accepts) {
    for (DWORD at = FirstSlot(hash, index->slotCount); index->slots[at].entry != nullptr;
         at = SlotAfter(at, index->slotCount)) {
        const IndexedClient* client = &index->slots[at];
        if (client->tag == TagOf(hash) && accepts(*client)) return client;
    }
    return nullptr;
}

// The first client with the first `length` bytes of the address, which are all of the table's key at least
// and sixteen at most. No two clients of the table have the same key, so there is no other.
const IndexedClient* FindByAddress(const ClientIndex* index, const BYTE* address, DWORD length) {
    const AddressWords words = WordsOf(address, length);
    return FindByHash(index, HashOf(WordsOf(address, index->keyLength)), [&](const IndexedClient& client) {
        return WordsOf(AddressBytes(client.entry), length) == words;
    });
}

// For a length below that of the table's key. Clients that share a key of their table share all the bytes up
// to `length`: the first one speaks for them.
const IndexedClient* FindByShortAddress(const ClientIndex* index, const BYTE* address, BYTE length) {
    if (length == 0) return &index->head;
    const IndexedClient* client = FindByPrefix(index, index->tables[index->tableOfLength[length]], address);
    return client != nullptr && HasAddress(client->entry, address, length) ? client : nullptr;
}

// Beyond sixteen bytes twins differ.
const IndexedClient* FindByLongAddress(const ClientIndex* index, const BYTE* address, BYTE length) {
    const IndexedClient* client = FindByAddress(index, address, HardwareAddressSize);
    while (client != nullptr && !HasAddress(client->entry, address, length))
        client = client->nextTwin != 0 ? &index->twins[client->nextTwin - 1] : nullptr;
    return client;
}

}  // namespace

bool HasAddress(const ClientEntry* entry, const BYTE* address, BYTE length) {
    if (length <= HardwareAddressSize)
        return WordsOf(AddressBytes(entry), length) == WordsOf(address, length);
    return std::memcmp(AddressBytes(entry), address, length) == 0;
}

ClientIndex* BuildClientIndex(HANDLE heap, ClientEntry* listHead) try {
    Builder build = {heap, new (AllocateArray<ClientIndex>(heap, 1)) ClientIndex{}, {}, {}, {}};
    ListClients(&build, listHead);
    BuildTables(&build);
    return build.index;
} catch (const std::bad_alloc&) {
    return nullptr;
}

const IndexedClient* FindIndexedClient(const ClientIndex* index, const BYTE* address, BYTE length) {
    if (length < index->keyLength) return FindByShortAddress(index, address, length);
    return length <= HardwareAddressSize ? FindByAddress(index, address, length)
                                         : FindByLongAddress(index, address, length);
}

void PrefetchIndexSlot(const ClientIndex* index, const BYTE* address) {
    const std::uint64_t hash = HashOf(WordsOf(address, index->keyLength));
    constexpr std::size_t UsualProbe = 3;  // slots, with four of five in use
    Prefetch(&index->slots[FirstSlot(hash, index->slotCount)], UsualProbe * sizeof(IndexedClient));
}

const IndexedClient* GuessIndexedClient(const ClientIndex* index, const BYTE* address, BYTE length) {
    if (length < index->keyLength) return nullptr;
    return FindByHash(index, HashOf(WordsOf(address, index->keyLength)), [](const IndexedClient& client) {
        Prefetch(client.entry, sizeof(ClientEntry));
        return true;
    });
}

void RetireClientList(ClientEntry* listHead) {
    if (listHead != nullptr && listHead->index != nullptr) listHead->index->retired = true;
}

bool IsRetired(const ClientEntry* listHead) {
    return listHead != nullptr && listHead->index != nullptr && listHead->index->retired;
}
