// The index of a loaded client list: the first entry, in list order, whose hardware address begins with given
// bytes.
//
// The outcome is that of a walk along the list, and costs the same however long the list is. An index is
// built once, is only read from then on, and goes with the heap that it lies in.
#pragma once

#include <atomic>

#include "database/client_entry.h"
#include "platform/windows_api.h"

struct IndexedClient {
    ClientEntry* entry;  // null in an empty slot
    HANDLE guard;        // the mutex of the entry before it; null for the head, which ClientListMutex guards
    DWORD tag;           // bits of the hash
    DWORD nextTwin;      // place plus 1, among the twins, of the next entry with the same 16 bytes
};

// A slot of a table over a shorter prefix: it names the slot of the first client with that prefix.
struct PrefixSlot {
    DWORD tag;
    DWORD placePlus1;  // 0 is an empty slot
};

struct PrefixTable {
    PrefixSlot* slots;
    DWORD slotCount;
    DWORD keyLength;
};

// What a load made of the client sections of its file.
struct LoadCounts {
    DWORD listed;       // entries in the list
    DWORD beyondCache;  // sections after those for which there was room
    DWORD malformed;    // sections that make no entry
    DWORD cacheBytes;   // by which the load raised its total
};

// Lengths that part the list's addresses in the same way share an open-addressing table, whose key is the
// shortest of them: a fleet of like addresses needs two or three. The table for the longest keys holds the
// clients themselves, so that a usual lookup goes from one slot straight to the entry.
struct ClientIndex {
    std::atomic<bool> retired;  // written and read under ClientListMutex
    IndexedClient head;
    IndexedClient* slots;  // the first of each address
    DWORD slotCount;
    DWORD keyLength;
    IndexedClient* twins;                         // the others
    BYTE tableOfLength[HardwareAddressSize + 1];  // for the lengths below keyLength
    PrefixTable tables[HardwareAddressSize];
    LoadCounts counts;  // the load's own; the index doesn't look at them
};

// Indexes the list that begins with `listHead`, in time linear in its length. Null if there is no memory. The
// blocks are the heap's.
ClientIndex* BuildClientIndex(HANDLE heap, ClientEntry* listHead);

// The first entry whose bytes from `chaddr` on are the `length` bytes of `address`; null if there is none.
// Lengths above 16 reach into the fields after `chaddr`. `address` has 16 bytes at least.
const IndexedClient* FindIndexedClient(const ClientIndex* index, const BYTE* address, BYTE length);

// For a caller who fetches ahead what a lookup will read. Each looks at what the one before has started to
// fetch, so calls for several addresses go abreast. `address` has 16 bytes.
void PrefetchIndexSlot(const ClientIndex* index, const BYTE* address);
// The client that FindIndexedClient most likely returns, whose entry is on its way then. Null if there is
// none, or for a length below that of the list's addresses.
const IndexedClient* GuessIndexedClient(const ClientIndex* index, const BYTE* address, BYTE length);

// Whether an entry's bytes from `chaddr` on begin with those. They lie within the block for every length;
// `address` has 16 bytes at least.
bool HasAddress(const ClientEntry* entry, const BYTE* address, BYTE length);

// Marks a loaded list as no longer the live one: a lookup that gets ClientListMutex from now on sends its
// caller to the new list. The calling thread holds ClientListMutex. Null is no list.
void RetireClientList(ClientEntry* listHead);

// The calling thread holds ClientListMutex. A list without an index never retires.
bool IsRetired(const ClientEntry* listHead);
