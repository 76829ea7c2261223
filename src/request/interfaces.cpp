#include "request/interfaces.h"

#include "diagnostics/messages.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "diagnostics/activity_log.h"
#include "diagnostics/event_report.h"
#include "service/server_parameters.h"

std::atomic<IpAddress> LocalAddresses[MaxLocalAddresses];
SOCKET BoundSockets[MaxBoundSockets];
DWORD SocketCount;
std::atomic<DWORD> BoundCount;
WORD ActivePort = 67;
char HostName[260];

namespace {

constexpr DWORD BindingLogWait = 5000;

// Guards BoundSockets and SocketCount between the listener and the thread that stops reception.
std::mutex SocketTableLock;
bool ReceptionStopped;

// Counts the bindings; changed under SocketTableLock, after the table.
std::atomic<DWORD> BindingNumber{0};

IpAddress FromInAddr(std::uint32_t raw) {
    IpAddress address;
    std::memcpy(address.bytes, &raw, sizeof raw);
    return address;
}

in_addr ToInAddr(IpAddress address) {
    in_addr converted;
    std::memcpy(&converted, address.bytes, sizeof converted);
    return converted;
}

// Caller holds SocketTableLock.
void CloseTable() {
    for (DWORD i = SocketCount; i-- > 0;)
        closesocket(BoundSockets[i]);
}

void LookUpPort() {
    if (const auto* service = getservbyname("bootp", "udp"))
        ActivePort = ntohs(static_cast<WORD>(service->s_port));
}

// The text of the log's binding line. It takes 259 bytes at most: a longer list is cut after a whole address,
// and the line end is always there.
class BindingText {
  public:
    BindingText() { Put("** Bound to: "); }

    void Append(IpAddress address) {
        char dotted[AddressTextSize];
        FormatAddress(address, dotted);
        if (!isFirst_) Put(Separator);
        isFirst_ = false;
        Put(dotted);
    }

    const char* End() {
        const bool fits = length_ + Last.size() <= MostBytes;
        if (!fits) length_ = std::string_view(text_, length_).rfind(Separator, MostBytes - More.size());
        Put(fits ? Last : More);
        text_[length_] = '\0';
        return text_;
    }

  private:
    static constexpr std::size_t MostBytes = 259;
    static constexpr std::string_view Separator = ", ";
    static constexpr std::string_view Last = ".\r\n\r\n";
    static constexpr std::string_view More = ", ...\r\n\r\n";

    void Put(std::string_view piece) { length_ += piece.copy(text_ + length_, sizeof text_ - 1 - length_); }

    char text_[(MaxLocalAddresses + 1) * (AddressTextSize + Separator.size())];
    std::size_t length_ = 0;
    bool isFirst_ = true;
};

enum class SlotResult { Bound, Dropped, NoBroadcast };

// Makes the next slot a socket on `address`. Caller holds SocketTableLock.
SlotResult BindNextSlot(IpAddress address, DWORD* bound, int* error) {
    SOCKET* slot = &BoundSockets[*bound];
    if (const int failed = OpenBoundSocket(slot, ActivePort, address, 0)) {
        *error = failed;
        return SlotResult::Dropped;
    }
    LocalAddresses[*bound].store(address);
    ++*bound;
    const int enable = 1;
    if (setsockopt(*slot, SOL_SOCKET, SO_BROADCAST, reinterpret_cast<const char*>(&enable), sizeof enable) ==
        0)
        return SlotResult::Bound;
    *error = WSAGetLastError();
    return SlotResult::NoBroadcast;
}

// An address that LocalAddrs names may come late, or be misspelt: then nobody would know what to wait for.
void ReportUnbound(IpAddress address, int error) {
    char dotted[AddressTextSize];
    FormatAddress(address, dotted);
    char reason[256] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(error), 0, reason, sizeof reason,
                   nullptr);
    char text[sizeof dotted + sizeof reason + 64];
    std::snprintf(text, sizeof text, "LocalAddrs names %s, which can't be bound: %s", dotted, reason);
    LogEventText(EVENT_WARNING_TEXT, text);
}

// Binds the addresses in table order. Caller holds SocketTableLock.
DWORD BindTable(const IpAddress* addresses, DWORD count, BindingText* text, int* error) {
    const bool areChosen = LiveParameters.LocalAddrs[0] != '\0';
    DWORD bound = 0;
    for (DWORD i = 0; i < count; ++i) {
        const SlotResult result = BindNextSlot(addresses[i], &bound, error);
        if (result == SlotResult::Dropped && areChosen) ReportUnbound(addresses[i], *error);
        if (result == SlotResult::Dropped) continue;
        SocketCount = bound;
        if (result == SlotResult::NoBroadcast) return BindBroadcastFailed;
        BoundCount.store(bound);
        text->Append(addresses[i]);
    }
    return BindOk;
}

void WriteBindingLine(const char* text) {
    WriteLogLine(text, LiveParameters.LogHandle, LiveParameters.LogMutex, BindingLogWait);
}

// The addresses that LocalAddrs names. That it names none at all is hardly meant.
DWORD ChosenAddresses(IpAddress* table) {
    const DWORD count = ParseLocalAddresses(LiveParameters.LocalAddrs, table);
    if (count == 0) {
        char text[sizeof LiveParameters.LocalAddrs + 64];
        std::snprintf(text, sizeof text, "LocalAddrs \"%s\" names no address.", LiveParameters.LocalAddrs);
        LogEventText(EVENT_ERROR_TEXT, text);
    }
    return count;
}

std::uint32_t Masked(IpAddress address, std::uint32_t mask) {
    return ToInAddr(address).s_addr & mask;
}

// The position of the mask option in a finished reply, or 0. Every tag but the end mark is taken as tag,
// length and value, pads included.
LONG FindSubnetMask(const std::uint8_t* bytes, LONG length) {
    LONG position = sizeof(BootPacket);
    while (position < length && bytes[position] != TagSubnetMask) {
        if (bytes[position] == TagEnd || position + 1 >= length) return 0;
        position += 2 + bytes[position + 1];
    }
    return position + 2 + static_cast<LONG>(sizeof(IpAddress)) <= length ? position : 0;
}

}  // namespace

int EnumerateLocalAddresses(DWORD* count, IpAddress* table) {
    *count = 0;
    ULONG size = 8192;
    auto block = std::unique_ptr<BYTE[]>(new (std::nothrow) BYTE[size]());
    if (block == nullptr) return 0;
    DWORD result = GetIpAddrTable(reinterpret_cast<MIB_IPADDRTABLE*>(block.get()), &size, FALSE);
    if (result == ERROR_INSUFFICIENT_BUFFER) {
        block.reset(new (std::nothrow) BYTE[size]());
        if (block == nullptr) return 0;
        result = GetIpAddrTable(reinterpret_cast<MIB_IPADDRTABLE*>(block.get()), &size, FALSE);
    }
    if (result != NO_ERROR) {
        SetLastError(result);
        return 0;
    }
    const auto* rows = reinterpret_cast<const MIB_IPADDRTABLE*>(block.get());
    for (DWORD i = rows->dwNumEntries; i-- > 0 && *count < MaxLocalAddresses;)
        table[(*count)++] = FromInAddr(rows->table[i].dwAddr);
    return 1;
}

DWORD ParseLocalAddresses(const char* list, IpAddress* table) {
    DWORD count = 0;
    std::string_view rest(list);
    while (!rest.empty() && count < MaxLocalAddresses) {
        const std::string_view piece = rest.substr(0, rest.find(','));
        if (piece.empty()) break;
        const auto address = inet_addr(std::string(piece).c_str());
        if (address != INADDR_NONE) table[count++] = FromInAddr(static_cast<std::uint32_t>(address));
        rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
    }
    return count;
}

int OpenBoundSocket(SOCKET* slot, WORD port, IpAddress address, int reuse) {
    *slot = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (*slot == INVALID_SOCKET) {
        *slot = 0;
        return WSAGetLastError();
    }
    sockaddr_in local = {};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr = ToInAddr(address);
    if (setsockopt(*slot, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse) ==
            0 &&
        bind(*slot, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0)
        return 0;
    const int error = WSAGetLastError();
    closesocket(*slot);
    *slot = 0;
    return error;
}

DWORD BindAllInterfaces() {
    IpAddress addresses[MaxLocalAddresses];
    DWORD count = 0;
    BindingText text;
    int error = 0;
    DWORD result = BindOk;
    {
        std::unique_lock lock(SocketTableLock);
        BoundCount.store(0);
        CloseTable();
        SocketCount = 0;
        ++BindingNumber;
        if (!EnumerateLocalAddresses(&count, addresses)) {
            LogEventError(EVENT_ADDRESS_LIST_FAILED, GetLastError());
            return BindEnumerateFailed;
        }
        LookUpPort();
        if (LiveParameters.LocalAddrs[0] != '\0') count = ChosenAddresses(addresses);
        if (ReceptionStopped) return BindOk;
        result = BindTable(addresses, count, &text, &error);
        ++BindingNumber;
    }
    if (result == BindBroadcastFailed) {
        LogEventError(EVENT_SOCKET_OPTION_FAILED, static_cast<DWORD>(error));
    } else if (BoundCount.load() != 0) {
        WriteBindingLine(text.End());
    } else {
        LogEventError(EVENT_SOCKET_FAILED, static_cast<DWORD>(error));
        WriteBindingLine("Could not bind to an address\r\n.");
    }
    return result;
}

void CloseAllSockets() {
    const std::lock_guard lock(SocketTableLock);
    CloseTable();
}

void StopReception() {
    const std::lock_guard lock(SocketTableLock);
    ReceptionStopped = true;
    CloseTable();
}

bool IsReceptionStopped() {
    const std::lock_guard lock(SocketTableLock);
    return ReceptionStopped;
}

void RefreshBoundSockets(BoundSocketsCopy* copy) {
    if (copy->binding == BindingNumber.load()) return;
    const std::lock_guard lock(SocketTableLock);
    std::copy_n(BoundSockets, SocketCount, copy->sockets);
    copy->count = SocketCount;
    copy->binding = BindingNumber.load();
}

void ArmAddressChange(OVERLAPPED* overlapped, HANDLE* handle) {
    if (overlapped->hEvent != UnarmedEvent()) CloseHandle(overlapped->hEvent);
    overlapped->Internal = 0;
    overlapped->hEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const DWORD error = NotifyAddrChange(handle, overlapped);
    if (error != ERROR_IO_PENDING) LogEventError(EVENT_SYSTEM_ERROR, error);
}

int AddressChanged(OVERLAPPED* overlapped) {
    if (overlapped->hEvent == UnarmedEvent()) return 0;
    return WaitForSingleObjectEx(overlapped->hEvent, 0, TRUE) != WAIT_TIMEOUT ? 1 : 0;
}

int IsBetterInterface(DWORD* interfaceIndex, const BootPacket* packet, LONG length) {
    const DWORD bound = BoundCount.load();
    if (bound < 2) return 0;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(packet);
    const LONG position = FindSubnetMask(bytes, length);
    if (position == 0) return 0;
    std::uint32_t mask;
    std::memcpy(&mask, bytes + position + 2, sizeof mask);
    const std::uint32_t subnet = Masked(packet->yiaddr, mask);
    if (Masked(LocalAddresses[*interfaceIndex].load(), mask) == subnet) return 0;
    for (DWORD i = 0; i < bound; ++i) {
        if (Masked(LocalAddresses[i].load(), mask) != subnet) continue;
        *interfaceIndex = i;
        return 1;
    }
    return 0;
}
