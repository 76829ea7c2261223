#include "arp/arp_expiry.h"

#include <cstring>

namespace {

DWORD ArpThreadId;
ArpRemoveFunction Remove;  // set before the thread starts

std::uint32_t RawBytes(IpAddress address) {
    std::uint32_t raw;
    std::memcpy(&raw, address.bytes, sizeof raw);
    return raw;
}

IpAddress AddressFromRaw(std::uint32_t raw) {
    IpAddress address;
    std::memcpy(address.bytes, &raw, sizeof raw);
    return address;
}

void RemoveEntry(const MSG& message) {
    char client[AddressTextSize];
    char local[AddressTextSize];
    FormatAddress(AddressFromRaw(static_cast<std::uint32_t>(message.lParam)), client);
    FormatAddress(AddressFromRaw(static_cast<std::uint32_t>(message.wParam)), local);
    Remove(client, local);
}

DWORD WINAPI ArpExpiryThread(LPVOID parameter) {
    const auto timeout = static_cast<DWORD>(reinterpret_cast<DWORD_PTR>(parameter));
    const auto threadMessagesOnly = reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1));
    for (;;) {
        MSG message = {};
        if (GetMessageA(&message, threadMessagesOnly, 0, 0) == -1) return 1;
        if (message.message != ArpExpiryMessage) continue;
        if (const DWORD rest = RemainingArpTime(GetTickCount(), message.time, timeout)) Sleep(rest);
        RemoveEntry(message);
    }
}

}  // namespace

DWORD RemainingArpTime(DWORD now, DWORD posted, DWORD timeout) {
    const DWORD elapsed = now - posted;
    return elapsed < timeout ? timeout - elapsed : 0;
}

void StartArpExpiry(DWORD timeout, ArpRemoveFunction remove) {
    Remove = remove;
    const auto parameter = reinterpret_cast<LPVOID>(static_cast<DWORD_PTR>(timeout));
    const HANDLE thread = CreateThread(nullptr, 0, ArpExpiryThread, parameter, 0, &ArpThreadId);
    if (thread != nullptr) CloseHandle(thread);
}

void PostArpExpiry(IpAddress localAddress, IpAddress clientAddress) {
    PostThreadMessageA(ArpThreadId, ArpExpiryMessage, RawBytes(localAddress),
                       static_cast<LPARAM>(RawBytes(clientAddress)));
}
