#include "diagnostics/activity_log.h"

#include "diagnostics/messages.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "diagnostics/event_report.h"

namespace {

constexpr DWORD BannerWait = 2000;

void WriteBanner(const char* lead, const char* rest, HANDLE file, HANDLE mutex) {
    char date[9];
    char time[9];
    _strdate(date);
    _strtime(time);
    for (const char* piece :
         {lead, static_cast<const char*>(date), "   ", static_cast<const char*>(time), rest})
        if (*piece != '\0') WriteLogLine(piece, file, mutex, BannerWait);
}

// Whether a trace has been lost for lack of room, and none written since.
std::atomic<bool> TraceRests{false};

bool HasRoom(HANDLE file, std::size_t length, DWORD limit) {
    DWORD high = 0;
    const DWORD size = GetFileSize(file, &high);
    if (size == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return true;  // a file that has no size
    return high == 0 && size <= limit && length <= limit - size;
}

void ReportRest(DWORD limit) {
    char text[128];
    std::snprintf(text, sizeof text,
                  "The log has reached its limit of %u bytes. Nothing is traced until it is smaller.",
                  static_cast<unsigned>(limit));
    LogEventText(EVENT_WARNING_TEXT, text);
}

}  // namespace

int WriteLogLine(const char* text, HANDLE file, HANDLE mutex, DWORD milliseconds) {
    const DWORD waited = WaitForSingleObject(mutex, milliseconds);
    if (waited == WAIT_TIMEOUT) return 0;
    int written = 0;
    if (file != nullptr) {
        DWORD count = 0;
        const DWORD length = static_cast<DWORD>(std::strlen(text));
        written = WriteFile(file, text, length, &count, nullptr) && count == length ? 1 : 0;
    }
    if (waited != WAIT_FAILED) ReleaseMutex(mutex);
    return written;
}

int WriteTraceBlock(const char* text, HANDLE file, HANDLE mutex, DWORD milliseconds, DWORD sizeLimit) {
    if (sizeLimit != 0 && file != nullptr) {
        const bool rests = !HasRoom(file, std::strlen(text), sizeLimit);
        if (TraceRests.exchange(rests) != rests && rests) ReportRest(sizeLimit);
        if (rests) return 0;
    }
    return WriteLogLine(text, file, mutex, milliseconds);
}

void WriteStartBanner(HANDLE file, HANDLE mutex) {
    WriteBanner("", "   --- Quillon service started ---\r\n\r\n", file, mutex);
}

void WriteStopBanner(HANDLE file, HANDLE mutex) {
    WriteBanner("\r\n", "   --- Quillon service stopped ---\r\n", file, mutex);
}
