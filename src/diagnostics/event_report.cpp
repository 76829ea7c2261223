#include "diagnostics/event_report.h"

#include "diagnostics/messages.h"

#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

constexpr DWORD UserDefaultLanguage = 0x400;

std::atomic<DWORD> EventMask{0};

// The system's text for an error, released with the object; a sentence with the code where the system has
// none.
class SystemText {
  public:
    explicit SystemText(DWORD error) {
        const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM;
        // With the allocating flag the operation takes the address of a pointer in place of a buffer.
        if (FormatMessageA(flags, nullptr, error, UserDefaultLanguage, reinterpret_cast<char*>(&allocated_),
                           0, nullptr) == 0)
            allocated_ = nullptr;
        if (allocated_ == nullptr)
            std::snprintf(fallback_, sizeof fallback_, "No text available. The error code is %d.",
                          static_cast<int>(error));
    }
    ~SystemText() {
        if (allocated_ != nullptr) LocalFree(allocated_);
    }
    SystemText(const SystemText&) = delete;
    SystemText& operator=(const SystemText&) = delete;

    const char* get() const { return allocated_ != nullptr ? allocated_ : fallback_; }

  private:
    char* allocated_ = nullptr;
    char fallback_[64] = {};
};

std::atomic<DWORD> RepeatSeconds{0};

// What a stranger's datagrams can bring about as often as they like.
struct RepeatedEvent {
    DWORD number;
    DWORD reported;  // tick count of the last one
    DWORD leftOut;   // since then
    bool isKnown;    // there has been one
};
std::mutex RepeatLock;
RepeatedEvent RepeatedEvents[] = {
    {EVENT_HARDWARE_TYPE_MISMATCH, 0, 0, false},
    {EVENT_REQUEST_NO_MEMORY, 0, 0, false},
    {EVENT_RECEIVE_FAILED, 0, 0, false},
    {EVENT_SEND_FAILED, 0, 0, false},
    {EVENT_MALFORMED_ENTRY, 0, 0, false},
    {EVENT_SYSTEM_ERROR, 0, 0, false},
    {EVENT_ERROR_TEXT, 0, 0, false},
};

// Whether the event is to be left out; else how many were before it.
bool IsLeftOut(DWORD number, DWORD* before) {
    const DWORD seconds = RepeatSeconds;
    *before = 0;
    if (seconds == 0) return false;
    const std::lock_guard lock(RepeatLock);
    for (RepeatedEvent& event : RepeatedEvents) {
        if (event.number != number) continue;
        const DWORD now = GetTickCount();
        if (event.isKnown && now - event.reported < seconds * 1000) {
            ++event.leftOut;
            return true;
        }
        *before = std::exchange(event.leftOut, 0);
        event.reported = now;
        event.isKnown = true;
    }
    return false;
}

int ReportToSource(const char* source, DWORD number, const char* text, WORD logLevel) {
    const HANDLE log = RegisterEventSourceA(nullptr, source);
    if (log == nullptr) return 0;
    int result = 1;
    const WORD type = EventType(number);
    if ((type & logLevel) != 0) {
        const char* strings[] = {text};
        const WORD count = text != nullptr ? 1 : 0;
        result = ReportEventA(log, type, 0, number, nullptr, count, 0, strings, nullptr) ? 1 : 0;
    }
    DeregisterEventSource(log);
    return result;
}

int ReportUnlimited(const char* source, DWORD number, int stringCount, const char* text, WORD logLevel,
                    DWORD systemError) try {
    if (stringCount == NoString) return ReportToSource(source, number, nullptr, logLevel);
    if (stringCount > NoString) return ReportToSource(source, number, text, logLevel);
    const SystemText systemText(systemError);
    return ReportToSource(source, number, systemText.get(), logLevel);
} catch (...) {
    return 0;
}

void ReportLeftOut(const char* source, DWORD number, DWORD count, WORD logLevel) {
    char text[80];
    std::snprintf(text, sizeof text, "%u further events 0x%08X were not reported.",
                  static_cast<unsigned>(count), static_cast<unsigned>(number));
    ReportUnlimited(source, EVENT_WARNING_TEXT, OneString, text, logLevel, 0);
}

}  // namespace

WORD EventType(DWORD number) {
    switch (number >> 30) {
        case 3:
            return EVENTLOG_ERROR_TYPE;
        case 2:
            return EVENTLOG_WARNING_TYPE;
        default:
            return EVENTLOG_INFORMATION_TYPE;
    }
}

int ReportServiceEvent(const char* source, DWORD number, int stringCount, const char* text, WORD logLevel,
                       DWORD systemError) {
    const bool mayRepeat = logLevel == AllEvents || (EventType(number) & logLevel) == 0;
    DWORD before = 0;
    if (!mayRepeat && IsLeftOut(number, &before)) return 1;
    if (before != 0) ReportLeftOut(source, number, before, logLevel);
    return ReportUnlimited(source, number, stringCount, text, logLevel, systemError);
}

void LimitEventRepeats(DWORD seconds) {
    RepeatSeconds = seconds;
}

void InstallEventMask(DWORD logLevel) {
    EventMask = logLevel;
}

DWORD InstalledEventMask() {
    return EventMask;
}

void LogEvent(DWORD number, DWORD mask) {
    ReportServiceEvent(EventSource, number, NoString, nullptr, static_cast<WORD>(mask), 0);
}

void LogEventText(DWORD number, const char* text, DWORD mask) {
    ReportServiceEvent(EventSource, number, OneString, text, static_cast<WORD>(mask), 0);
}

void LogEventError(DWORD number, DWORD systemError, DWORD mask) {
    ReportServiceEvent(EventSource, number, SystemString, nullptr, static_cast<WORD>(mask), systemError);
}

void ReportSystemError() {
    const DWORD error = GetLastError();
    ReportUnlimited(EventSource, EVENT_SYSTEM_ERROR, SystemString, nullptr,
                    static_cast<WORD>(InstalledEventMask()), error);
}

int ReportMalformedEntry(const char* sectionName) {
    ReportUnlimited(EventSource, EVENT_MALFORMED_ENTRY, OneString, sectionName,
                    static_cast<WORD>(InstalledEventMask()), 0);
    return 1;
}
