#include "platform/linux/faces/ip_helper.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "platform/linux/net/address_change.h"
#include "platform/linux/net/interface_table.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr DWORD ReassemblyBytes = 65535;
constexpr WORD PrimaryAddress = 1;
// As Windows reports it: not the address but the lowest bit of the kind, all ones.
constexpr DWORD BroadcastIsAllOnes = 1;

MIB_IPADDRROW AsTableRow(const AddressRow& row) {
    return {.dwAddr = row.address,
            .dwIndex = row.interfaceIndex,
            .dwMask = row.mask,
            .dwBCastAddr = BroadcastIsAllOnes,
            .dwReasmSize = ReassemblyBytes,
            .unused1 = 0,
            .wType = row.secondary ? WORD{0} : PrimaryAddress};
}

}  // namespace

DWORD WINAPI GetIpAddrTable(PMIB_IPADDRTABLE table, ULONG* size, BOOL sorted) try {
    if (size == nullptr) return ERROR_INVALID_PARAMETER;
    NoteTableIsRead();
    std::vector<AddressRow> rows;
    if (const int error = ReadAddressTable(rows); error != 0) return WindowsErrorFrom(error);
    if (sorted != FALSE) {
        std::ranges::stable_sort(rows, {}, [](const AddressRow& row) { return ntohl(row.address); });
    }

    const std::size_t needed = offsetof(MIB_IPADDRTABLE, table) + rows.size() * sizeof(MIB_IPADDRROW);
    if (needed > std::numeric_limits<ULONG>::max()) return ERROR_NOT_ENOUGH_MEMORY;
    if (table == nullptr || *size < needed) {
        *size = static_cast<ULONG>(needed);
        return ERROR_INSUFFICIENT_BUFFER;
    }
    table->dwNumEntries = static_cast<DWORD>(rows.size());
    std::ranges::transform(rows, table->table, AsTableRow);
    return NO_ERROR;
} catch (...) {
    return CaughtError();
}

DWORD WINAPI NotifyAddrChange(PHANDLE handle, LPOVERLAPPED overlapped) try {
    // Without an event the call would wait for the change itself, which is not offered.
    if (handle == nullptr || overlapped == nullptr) return ERROR_INVALID_PARAMETER;
    const auto event = LookUpAnyObject(overlapped->hEvent);
    if (!event || event->Type() != ObjectType::Event) return ERROR_INVALID_HANDLE;
    *handle = nullptr;  // there is nothing to close or to cancel
    const int error = SignalNextAddressChange(overlapped->hEvent);
    return error == 0 ? ERROR_IO_PENDING : WindowsErrorFrom(error);
} catch (...) {
    return CaughtError();
}
