// Files, paths, local time and the system's version.
#pragma once

#include "platform/linux/faces/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD GENERIC_WRITE = 0x40000000u;
inline constexpr DWORD FILE_APPEND_DATA = 4;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFFu;

// With GENERIC_WRITE the handle has a position of its own, 0 at first; with FILE_APPEND_DATA instead each
// write goes to the file's end of that moment, whoever else writes. OPEN_ALWAYS on a file that exists
// succeeds and leaves ERROR_ALREADY_EXISTS; on a new one 0. Either slash separates. 2 for a missing file, 3
// for a missing folder, 5 for a folder. The share mode isn't enforced: anybody may open the file.
// INVALID_HANDLE_VALUE on failure.
HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                          DWORD disposition, DWORD flags, HANDLE templateFile);

// Writes all or fails, with what was written until then in `written`. Not overlapped.
BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped);

// Returns the low 32 bits and stores the others in `high` unless that is null. INVALID_FILE_SIZE on failure,
// and then the last error isn't 0.
DWORD WINAPI GetFileSize(HANDLE file, LPDWORD high);

// Makes a path absolute, without `.` and `..`. Returns the length without the NUL, or the size needed with
// it and ERROR_FILENAME_EXCED_RANGE; 0 on failure.
DWORD WINAPI GetFullPathNameA(LPCSTR path, DWORD size, LPSTR buffer, LPSTR* filePart);

// The path of the program, for a null module, or of a loaded library. Returns its length; a path that doesn't
// fit is cut, and the result is `size` with ERROR_INSUFFICIENT_BUFFER.
DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);

void WINAPI GetLocalTime(LPSYSTEMTIME time);

struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;  // 148
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
};
using LPOSVERSIONINFOA = OSVERSIONINFOA*;

// 10.0 with no service pack, unless `CurrentVersion` ("3.51") and `CSDVersion` ("Service Pack 3") under
// SOFTWARE\Microsoft\Windows NT\CurrentVersion in the registry say otherwise. Fails if they can't be read.
BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA information);
