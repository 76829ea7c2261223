// The table of local IPv4 addresses, and the news that it has changed.
#pragma once

#include "platform/linux/faces/types.h"

struct MIB_IPADDRROW {
    DWORD dwAddr;  // the four wire bytes
    DWORD dwIndex;
    DWORD dwMask;
    DWORD dwBCastAddr;
    DWORD dwReasmSize;
    WORD unused1;
    WORD wType;
};

struct MIB_IPADDRTABLE {
    DWORD dwNumEntries;
    MIB_IPADDRROW table[1];  // dwNumEntries of them
};
using PMIB_IPADDRTABLE = MIB_IPADDRTABLE*;

// One row per IPv4 address, in the system's order or by address if sorted. Returns 0, or 122 with the needed
// size in bytes in `size`, or another error number.
DWORD WINAPI GetIpAddrTable(PMIB_IPADDRTABLE table, ULONG* size, BOOL sorted);

// Signals overlapped->hEvent once at the next change of the table; returns 997 (ERROR_IO_PENDING) when it is
// armed. A change that came after the last GetIpAddrTable of the process is signalled at once, so that
// nothing is missed between reading the table and arming again; what changed before the first arming is not
// told. The event may be closed before: the notice is then dropped. `handle` is set to null, there is nothing
// to close.
inline constexpr DWORD ERROR_IO_PENDING = 997;
DWORD WINAPI NotifyAddrChange(PHANDLE handle, LPOVERLAPPED overlapped);
