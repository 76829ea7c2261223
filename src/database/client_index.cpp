#include "database/client_index.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <new>
#include <numeric>
#include <string_view>
#include <vector>

namespace {

using Address = std::array<BYTE, HardwareAddressSize>;

std::uint64_t HashOf(const BYTE* address, DWORD length) {
    return std::hash<std::string_view>{}({reinterpret_cast<const char*>(address), length});
}

DWORD TagOf(std::uint64_t hash) {
    return static_cast<DWORD>(hash >> 32);
}

// Scales the low half of the hash to the table, so that a table may have any size.
DWORD FirstSlot(std::uint64_t hash, DWORD slotCount) {
    return static_cast<DWORD>(((hash & 0xFFFFFFFFu) * slotCount) >> 32);
}

// Three slots for two keys: short probes, and always an empty slot to end on.
std::size_t SlotsFor(std::size_t keys) {
    return keys + keys / 2 + 1;
}

// Answers the ordinal of the first entry inserted with the same prefix, which may be the given one.
DWORD InsertPrefix(const PrefixTable& table, const std::vector<Address>& addresses, DWORD ordinal) {
    const BYTE* address = addresses[ordinal].data();
    const std::uint64_t hash = HashOf(address, table.keyLength);
    for (DWORD at = FirstSlot(hash, table.slotCount);; at = at + 1 == table.slotCount ? 0 : at + 1) {
        PrefixSlot& slot = table.slots[at];
        if (slot.ordinalPlus1 == 0) {
            slot = {TagOf(hash), ordinal + 1};
            return ordinal;
        }
        const DWORD first = slot.ordinalPlus1 - 1;
        if (slot.tag == TagOf(hash) && std::memcmp(addresses[first].data(), address, table.keyLength) == 0) {
            return first;
        }
    }
}

// Of `candidates`, which are in list order, those that are the first with their first `length` bytes.
std::vector<DWORD> FirstWithPrefix(const std::vector<Address>& addresses,
                                   const std::vector<DWORD>& candidates, DWORD length) {
    std::vector<PrefixSlot> slots(SlotsFor(candidates.size()));
    const PrefixTable table = {slots.data(), static_cast<DWORD>(slots.size()), length};
    std::vector<DWORD> firsts;
    for (const DWORD ordinal : candidates) {
        if (InsertPrefix(table, addresses, ordinal) == ordinal) firsts.push_back(ordinal);
    }
    return firsts;
}

template <class T>
T* AllocateArray(HANDLE heap, std::size_t count) {
    return static_cast<T*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, count * sizeof(T)));
}

// Adds the table over `keyLength` bytes whose keys are those of `firsts`, for all lengths from there up that
// have none.
bool AddTable(HANDLE heap, ClientIndex* index, BYTE tableNumber, const std::vector<Address>& addresses,
              const std::vector<DWORD>& firsts, DWORD keyLength) {
    PrefixTable& table = index->tables[tableNumber];
    table.slotCount = static_cast<DWORD>(SlotsFor(firsts.size()));
    table.keyLength = keyLength;
    table.slots = AllocateArray<PrefixSlot>(heap, table.slotCount);
    if (table.slots == nullptr) return false;
    for (const DWORD ordinal : firsts)
        InsertPrefix(table, addresses, ordinal);
    const DWORD above = tableNumber == 0 ? HardwareAddressSize + 1 : index->tables[tableNumber - 1].keyLength;
    std::fill(index->tableOfLength + keyLength, index->tableOfLength + above, tableNumber);
    return true;
}

// The bytes behind the longest address are zero in all of them: longer prefixes tell no more apart.
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

// Two lengths part the list alike if they have equally many different prefixes; the shorter one is the
// table's key.
bool BuildTables(HANDLE heap, ClientIndex* index, const std::vector<Address>& addresses,
                 std::vector<DWORD> firsts) {
    BYTE tableNumber = 0;
    DWORD length = LongestAddress(addresses);
    firsts = FirstWithPrefix(addresses, firsts, length);
    for (; length > 1; --length) {
        std::vector<DWORD> fewer = FirstWithPrefix(addresses, firsts, length - 1);
        if (fewer.size() == firsts.size()) continue;
        if (!AddTable(heap, index, tableNumber++, addresses, firsts, length)) return false;
        firsts = std::move(fewer);
    }
    return AddTable(heap, index, tableNumber, addresses, firsts, length);
}

bool LinkTwins(HANDLE heap, ClientIndex* index, const std::vector<Address>& addresses) {
    std::vector<PrefixSlot> slots(SlotsFor(addresses.size()));
    const PrefixTable table = {slots.data(), static_cast<DWORD>(slots.size()), HardwareAddressSize};
    std::vector<DWORD> latest(addresses.size());
    for (DWORD ordinal = 0; ordinal < index->count; ++ordinal) {
        const DWORD first = InsertPrefix(table, addresses, ordinal);
        if (first != ordinal) {
            if (index->nextTwin == nullptr) index->nextTwin = AllocateArray<DWORD>(heap, index->count);
            if (index->nextTwin == nullptr) return false;
            index->nextTwin[latest[first]] = ordinal + 1;
        }
        latest[first] = ordinal;
    }
    return true;
}

bool ListClients(HANDLE heap, ClientIndex* index, ClientEntry* listHead) {
    for (const ClientEntry* entry = listHead; entry != nullptr; entry = entry->next)
        ++index->count;
    index->clients = AllocateArray<IndexedClient>(heap, index->count);
    if (index->clients == nullptr) return false;
    HANDLE guard = nullptr;
    IndexedClient* client = index->clients;
    for (ClientEntry* entry = listHead; entry != nullptr; entry = entry->next) {
        *client++ = {entry, guard};
        guard = entry->mutex;
    }
    return true;
}

const BYTE* AddressBytes(const ClientEntry* entry) {
    return reinterpret_cast<const BYTE*>(&entry->packet) + offsetof(BootPacket, chaddr);
}

const IndexedClient* FindTwin(const ClientIndex* index, DWORD ordinal, const BYTE* address, BYTE length) {
    for (;;) {
        if (HasAddress(index->clients[ordinal].entry, address, length)) return &index->clients[ordinal];
        if (index->nextTwin == nullptr || index->nextTwin[ordinal] == 0) return nullptr;
        ordinal = index->nextTwin[ordinal] - 1;
    }
}

}  // namespace

bool HasAddress(const ClientEntry* entry, const BYTE* address, BYTE length) {
    return std::memcmp(AddressBytes(entry), address, length) == 0;
}

ClientIndex* BuildClientIndex(HANDLE heap, ClientEntry* listHead) {
    auto* block = AllocateArray<ClientIndex>(heap, 1);
    if (block == nullptr) return nullptr;
    auto* index = new (block) ClientIndex{};
    if (!ListClients(heap, index, listHead)) return nullptr;

    std::vector<Address> addresses(index->count);
    for (DWORD ordinal = 0; ordinal < index->count; ++ordinal) {
        std::memcpy(addresses[ordinal].data(), AddressBytes(index->clients[ordinal].entry),
                    HardwareAddressSize);
    }
    std::vector<DWORD> all(index->count);
    std::iota(all.begin(), all.end(), 0u);
    if (!LinkTwins(heap, index, addresses)) return nullptr;
    return BuildTables(heap, index, addresses, std::move(all)) ? index : nullptr;
}

const IndexedClient* FindIndexedClient(const ClientIndex* index, const BYTE* address, BYTE length) {
    if (length == 0) return index->clients;
    const PrefixTable& table =
        index->tables[index->tableOfLength[std::min<int>(length, HardwareAddressSize)]];
    const std::uint64_t hash = HashOf(address, table.keyLength);
    for (DWORD at = FirstSlot(hash, table.slotCount);; at = at + 1 == table.slotCount ? 0 : at + 1) {
        const PrefixSlot slot = table.slots[at];
        if (slot.ordinalPlus1 == 0) return nullptr;
        const DWORD ordinal = slot.ordinalPlus1 - 1;
        if (slot.tag != TagOf(hash)) continue;
        const IndexedClient& client = index->clients[ordinal];
        if (!HasAddress(client.entry, address, static_cast<BYTE>(table.keyLength))) continue;
        // Entries that share the key share all the bytes up to the sixteenth, so the first one speaks for
        // them.
        return FindTwin(index, ordinal, address, length);
    }
}
