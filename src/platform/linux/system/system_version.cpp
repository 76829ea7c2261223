#include <charconv>
#include <string_view>

#include "platform/linux/faces/file.h"
#include "platform/linux/faces/registry.h"
#include "platform/linux/system/local_time.h"

namespace {

constexpr char VersionKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr DWORD RecordSize = 148;
constexpr DWORD PlatformNt = 2;
static_assert(sizeof(OSVERSIONINFOA) == RecordSize);

// "3.51": two decimal numbers with a dot between them.
bool ParseVersion(std::string_view text, DWORD& major, DWORD& minor) {
    const char* end = text.data() + text.size();
    const auto [dot, majorError] = std::from_chars(text.data(), end, major);
    if (majorError != std::errc() || dot == end || *dot != '.') return false;
    const auto [stop, minorError] = std::from_chars(dot + 1, end, minor);
    return minorError == std::errc() && stop == end;
}

// Reads a text into a zeroed buffer; one that isn't there leaves it empty.
LONG ReadText(HKEY key, const char* name, char* text, DWORD size) {
    DWORD type = REG_NONE;
    const LONG error = RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<LPBYTE>(text), &size);
    if (error == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (error == ERROR_SUCCESS && type != REG_SZ && type != REG_EXPAND_SZ) return ERROR_INVALID_DATA;
    return error;
}

LONG ReadVersion(HKEY key, OSVERSIONINFOA& version) {
    char number[32] = {};
    if (const LONG error = ReadText(key, "CurrentVersion", number, sizeof(number)); error != ERROR_SUCCESS)
        return error;
    if (*number != '\0' && !ParseVersion(number, version.dwMajorVersion, version.dwMinorVersion)) {
        return ERROR_INVALID_DATA;
    }
    return ReadText(key, "CSDVersion", version.szCSDVersion, sizeof(version.szCSDVersion));
}

}  // namespace

BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA information) {
    if (information == nullptr || information->dwOSVersionInfoSize < RecordSize) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    OSVERSIONINFOA version{information->dwOSVersionInfoSize, 10, 0, 0, PlatformNt, {}};
    HKEY key = nullptr;
    LONG error = RegOpenKeyA(HKEY_LOCAL_MACHINE, VersionKey, &key);
    if (error == ERROR_SUCCESS) {
        error = ReadVersion(key, version);
        RegCloseKey(key);
    } else if (error == ERROR_FILE_NOT_FOUND) {
        error = ERROR_SUCCESS;
    }
    if (error != ERROR_SUCCESS) {
        SetLastError(static_cast<DWORD>(error));
        return FALSE;
    }
    *information = version;
    return TRUE;
}

void WINAPI GetLocalTime(LPSYSTEMTIME time) {
    const timespec now = RealTime();
    const tm& local = LocalTime(now.tv_sec);
    *time = SYSTEMTIME{static_cast<WORD>(local.tm_year + 1900), static_cast<WORD>(local.tm_mon + 1),
                       static_cast<WORD>(local.tm_wday),        static_cast<WORD>(local.tm_mday),
                       static_cast<WORD>(local.tm_hour),        static_cast<WORD>(local.tm_min),
                       static_cast<WORD>(local.tm_sec),         static_cast<WORD>(now.tv_nsec / 1'000'000)};
}
