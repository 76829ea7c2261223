#include "diagnostics/activity_log.h"

#include <cstring>
#include <initializer_list>

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

void WriteStartBanner(HANDLE file, HANDLE mutex) {
    WriteBanner("", "   --- Quillon service started ---\r\n\r\n", file, mutex);
}

void WriteStopBanner(HANDLE file, HANDLE mutex) {
    WriteBanner("\r\n", "   --- Quillon service stopped ---\r\n", file, mutex);
}
