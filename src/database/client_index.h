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
    ClientEntry* entry;
    HANDLE guard;  // the mutex of the entry before this one; null for the head, which ClientListMutex guards
};

// Slots of an open-addressing table over the first `keyLength` bytes of an address. Each names the first
// entry with that prefix.
struct PrefixSlot {
    DWORD tag;           // bits of the hash
    DWORD ordinalPlus1;  // 0 is an empty slot
};

struct PrefixTable {
    PrefixSlot* slots;
    DWORD slotCount;
    DWORD keyLength;
};

struct ClientIndex {
    std::atomic<bool> retired;  // written and read under ClientListMutex
    DWORD count;
    IndexedClient* clients;  // in list order
    DWORD* nextTwin;  // ordinal plus 1 of the next entry with the same 16 bytes; null if there are no twins
    // A length has the table with the longest key that doesn't exceed it. Lengths that part the list's
    // addresses in the same way share a table, so a fleet of like addresses needs two or three.
    BYTE tableOfLength[HardwareAddressSize + 1];
    PrefixTable tables[HardwareAddressSize];
};

// Indexes the list that begins with `listHead`, in time linear in its length. Null if there is no memory. The
// blocks are the heap's.
ClientIndex* BuildClientIndex(HANDLE heap, ClientEntry* listHead);

// The first entry whose bytes from `chaddr` on are the `length` bytes of `address`; null if there is none.
// Lengths above 16 reach into the fields behind `chaddr`.
const IndexedClient* FindIndexedClient(const ClientIndex* index, const BYTE* address, BYTE length);

// Whether an entry's bytes from `chaddr` on begin with those. They lie within the block for every length.
bool HasAddress(const ClientEntry* entry, const BYTE* address, BYTE length);
