#include "diagnostics/event_report.h"

#include "diagnostics/messages.h"

#include <atomic>
#include <cstdio>

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
        if (FormatMessageA(flags, nullptr, error, UserDefaultLanguage, reinterpret_cast<char*>(&_allocated),
                           0, nullptr) == 0)
            _allocated = nullptr;
        if (_allocated == nullptr)
            std::snprintf(_fallback, sizeof _fallback, "No text available. The error code is %d.",
                          static_cast<int>(error));
    }
    ~SystemText() {
        if (_allocated != nullptr) LocalFree(_allocated);
    }
    SystemText(const SystemText&) = delete;
    SystemText& operator=(const SystemText&) = delete;

    const char* get() const { return _allocated != nullptr ? _allocated : _fallback; }

  private:
    char* _allocated = nullptr;
    char _fallback[64] = {};
};

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
                       DWORD systemError) try {
    if (stringCount == NoString) return ReportToSource(source, number, nullptr, logLevel);
    if (stringCount > NoString) return ReportToSource(source, number, text, logLevel);
    const SystemText systemText(systemError);
    return ReportToSource(source, number, systemText.get(), logLevel);
} catch (...) {
    return 0;
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
    LogEventError(EVENT_SYSTEM_ERROR, GetLastError());
}

int ReportMalformedEntry(const char* sectionName) {
    LogEventText(EVENT_MALFORMED_ENTRY, sectionName);
    return 1;
}
