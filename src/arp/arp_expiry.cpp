#include "arp/arp_expiry.h"

#include <atomic>
#include <cstring>

namespace {

// Asks the thread to end; it comes after all entries that were posted before.
constexpr UINT ArpEndMessage = ArpExpiryMessage + 1;

// A thread's message queue holds 10,000. The rest is for what is posted while the thread makes room.
constexpr DWORD MostWaiting = 9000;

constexpr int PostAttempts = 20;
constexpr DWORD StopWait = 3000;

DWORD ArpThreadId;
HANDLE ArpThread;
ArpRemoveFunction Remove;  // this one and the next are set before the thread starts
HANDLE Hurry;              // auto-reset: the oldest entry may have to go before its time
std::atomic<DWORD> Waiting{0};
std::atomic<bool> Ending{false};

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

void WaitUntilDue(DWORD posted, DWORD timeout) {
    for (;;) {
        const DWORD rest = RemainingArpTime(GetTickCount(), posted, timeout);
        if (rest == 0 || Ending || Waiting > MostWaiting) return;
        if (WaitForSingleObject(Hurry, rest) == WAIT_FAILED) Sleep(rest);
    }
}

DWORD WINAPI ArpExpiryThread(LPVOID parameter) {
    const auto timeout = static_cast<DWORD>(reinterpret_cast<DWORD_PTR>(parameter));
    const auto threadMessagesOnly = reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1));
    for (;;) {
        MSG message = {};
        if (GetMessageA(&message, threadMessagesOnly, 0, 0) == -1) return 1;
        if (message.message == ArpEndMessage && Ending) return 0;
        if (message.message != ArpExpiryMessage) continue;
        WaitUntilDue(message.time, timeout);
        RemoveEntry(message);
        --Waiting;
    }
}

}  // namespace

DWORD RemainingArpTime(DWORD now, DWORD posted, DWORD timeout) {
    const DWORD elapsed = now - posted;
    return elapsed < timeout ? timeout - elapsed : 0;
}

bool StartArpExpiry(DWORD timeout, ArpRemoveFunction remove) {
    Remove = remove;
    Hurry = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    Waiting = 0;
    Ending = false;
    const auto parameter = reinterpret_cast<LPVOID>(static_cast<DWORD_PTR>(timeout));
    ArpThread = CreateThread(nullptr, 0, ArpExpiryThread, parameter, 0, &ArpThreadId);
    return ArpThread != nullptr;
}

void PostArpExpiry(IpAddress localAddress, IpAddress clientAddress) {
    if (ArpThread == nullptr) return;
    if (++Waiting > MostWaiting) SetEvent(Hurry);
    for (int attempt = 0; attempt < PostAttempts; ++attempt) {
        if (PostThreadMessageA(ArpThreadId, ArpExpiryMessage, RawBytes(localAddress),
                               static_cast<LPARAM>(RawBytes(clientAddress))))
            return;
        Sleep(1);
    }
    --Waiting;
}

void StopArpExpiry() {
    if (ArpThread == nullptr) return;
    const DWORD begun = GetTickCount();
    Ending = true;
    SetEvent(Hurry);
    while (!PostThreadMessageA(ArpThreadId, ArpEndMessage, 0, 0) &&
           RemainingArpTime(GetTickCount(), begun, StopWait) != 0)
        Sleep(1);
    WaitForSingleObject(ArpThread, RemainingArpTime(GetTickCount(), begun, StopWait));
    CloseHandle(ArpThread);
    ArpThread = nullptr;
}
