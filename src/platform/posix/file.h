// Files, paths, local time and the system's version.
#pragma once

#include "platform/posix/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD GENERIC_WRITE = 0x40000000u;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFFu;

// OPEN_ALWAYS on a file that exists succeeds and leaves ERROR_ALREADY_EXISTS; on a new one 0. Either slash separates.
HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD disposition,
                          DWORD flags, HANDLE templateFile);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped);
DWORD WINAPI SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);

// Answers the length without the NUL, or the size needed with it; 0 on failure.
DWORD WINAPI GetFullPathNameA(LPCSTR path, DWORD size, LPSTR buffer, LPSTR* filePart);
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

// 10.0 with no service pack, unless SOFTWARE\Microsoft\Windows NT\CurrentVersion in the registry says otherwise.
BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA information);
