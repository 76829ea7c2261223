// A client entry: all that the service knows about one client, in the form in which a reply needs it.
#pragma once

#include "database/option_catalogue.h"
#include "platform/windows_api.h"
#include "request/boot_packet.h"

struct ClientIndex;
struct SharedSections;

// One zero-filled block of the record's heap. Once an entry is in a list only `hits` and `stamp` are written,
// by a thread that holds the mutex in front of the entry: ClientListMutex for the head, else that of the
// entry before it. `lastAnswer` is apart: see last_answer.h.
struct ClientEntry {
    ClientEntry* next;
    HANDLE mutex;  // guards the entry after this one; null in an entry that is in no list
    DWORD hits;
    SYSTEMTIME stamp;       // local time of making, or of the hit that reached ExpireHits
    LONG templateCapacity;  // bytes from the image's options to the end of the block
    ClientIndex* index;     // in the head of a loaded list; null elsewhere
    std::uint64_t lastAnswer;
    // The prebuilt reply. `op` holds the client's flag bits, `chaddr` its key, and after the cookie stand
    // the encoded options, the end mark, and zeros to the end of the block.
    BootPacket packet;
};

// Entries are counted in units that hold a reply of 300 bytes. The numbers are those of a build with handles
// of four bytes: what wider ones take is allocated on top and counted nowhere.
inline constexpr DWORD EntryUnit = 332;
inline constexpr DWORD EntryOverhead = 272;

// The service takes no larger packet, so an entry that would fill more is malformed.
inline constexpr DWORD LargestEntryImage = 150000;

// Reads one client and its template from the file and builds its entry, in a block that grows by one unit
// until all of it fits. `hardwareAddress` points at 16 bytes, of which `hlen` name the client's section;
// `total` is raised by the size of the block. The caller owns the entry and frees it to `heap`. Leaves in
// `status`:
//   with an entry:  DatabaseOk, or EntryTooSmall if one unit wasn't enough, which is as good
//                   EntryMalformed  built only as far as the bad key; good for nothing but to be freed
//   with null:      NoClientSection, OutOfMemory, BlockNotReleased
// A load gives `shared`, so that templates and aliases are read once, and buffers serve for all clients.
ClientEntry* AllocateClientEntry(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total,
                                 DWORD* status, const OptionDefinition* catalogue,
                                 const BYTE* hardwareAddress, BYTE hlen, SharedSections* shared = nullptr);

// Fills the image of an entry whose `chaddr` and `hlen` are set; `limit` is the first byte after the block.
// Returns DatabaseOk, EntryMalformed, OutOfMemory, NoClientSection, EntryTooSmall or BlockNotReleased.
//
// What stands in the image after any result but the first is of no use. Any number of threads may build at
// once.
DWORD BuildClientEntry(DWORD terminateStrings, HANDLE heap, const char* path,
                       const OptionDefinition* catalogue, BootPacket* packet, BYTE* limit,
                       SharedSections* shared = nullptr);
