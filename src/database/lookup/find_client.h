// The junction of the request path and the database: from a request to its reply, in place.
#pragma once

#include "database/client_entry.h"
#include "platform/arrivals.h"

enum FindStatus : int {
    FindTransientDhcp = 0,  // read from the file for this request; a DHCP reply
    FindListedDhcp = 1,     // from the list; a DHCP reply
    FindTransientBootp = 2,
    FindListedBootp = 3,
    FindUnknownClient = 4,      // neither in the list nor in the file, or its entry couldn't be made
    FindOtherHardwareType = 5,  // the entry is for another `htype`
    FindRefused = 6,            // a DHCP request that gets no reply; the fixed fields have been changed
    FindMalformed = 7,          // a value of the client's section is malformed, or an alias too long
    FindMutexFailed = 8,
    FindListRetired = 9,  // the list has been replaced: ask again with a new copy of the record
};

// Any number of threads may run it at once on one list. The request is unchanged after the statuses 4, 5 and
// 7 to 9.
//
//   total          raised by the size of a transient entry
//   listHead       the first entry, or null; it stays as it is while the lookup runs
//   packet         the request, in a block of at least sizeof(BootPacket) bytes whatever `end` says
//   end            the first byte after the packet. Bytes after it count as zero, and none is written
//   serverAddress  the local address of the receiving socket
//   listMutex      ClientListMutex, which the calling thread doesn't hold
//   arpMacText     an empty text in a buffer of 100 bytes, for the media address of an entry with the flag
//   ArpMac
//   listed         null, or set to the entry if it is in the list; left alone if there is none
int FindClient(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total, ClientEntry* listHead,
               const OptionDefinition* catalogue, BootPacket* packet, const BYTE* end,
               IpAddress serverAddress, HANDLE listMutex, DWORD expireHits, char* arpMacText,
               ClientEntry** listed = nullptr);

// Starts to fetch from memory what FindClient will read for those requests, which may be anything. With many
// clients nothing of it is in a cache, and to fetch it for several requests takes hardly longer than for one.
// The list stays as it is meanwhile.
void AnticipateClients(const ClientEntry* listHead, const Arrival* requests, std::size_t count);
