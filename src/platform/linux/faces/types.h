// Windows' basic types and general constants, with their Windows widths: LONG and DWORD have 32 bits.
#pragma once

#include <cstddef>
#include <cstdint>

#define WINAPI
#define CALLBACK
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using UINT = std::uint32_t;
using SIZE_T = std::size_t;
using LONG_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using CHAR = char;
using LPSTR = char*;
using LPCSTR = const char*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;

using HANDLE = void*;  // a value out of the handle table, never an address
using PHANDLE = HANDLE*;
using HWND = void*;
using HLOCAL = void*;
using HMODULE = struct HMODULE__*;

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;  // Sunday is 0
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;

struct SECURITY_ATTRIBUTES;  // always passed as null
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct OVERLAPPED {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_BAD_FORMAT = 11;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_BAD_NETPATH = 53;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_NOACCESS = 998;
inline constexpr DWORD ERROR_INVALID_SERVICE_CONTROL = 1052;
inline constexpr DWORD ERROR_SERVICE_REQUEST_TIMEOUT = 1053;
inline constexpr DWORD ERROR_SERVICE_ALREADY_RUNNING = 1056;
inline constexpr DWORD ERROR_SERVICE_DOES_NOT_EXIST = 1060;
inline constexpr DWORD ERROR_SERVICE_CANNOT_ACCEPT_CTRL = 1061;
inline constexpr DWORD ERROR_SERVICE_NOT_ACTIVE = 1062;
inline constexpr DWORD ERROR_FAILED_SERVICE_CONTROLLER_CONNECT = 1063;
inline constexpr DWORD ERROR_SERVICE_SPECIFIC_ERROR = 1066;
inline constexpr DWORD ERROR_SERVICE_MARKED_FOR_DELETE = 1072;
inline constexpr DWORD ERROR_SERVICE_EXISTS = 1073;
inline constexpr DWORD ERROR_INVALID_COMPUTERNAME = 1210;
inline constexpr DWORD ERROR_INVALID_SHARENAME = 1213;
inline constexpr DWORD ERROR_INVALID_THREAD_ID = 1444;

// The error of the calling thread's last failed operation.
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD error);
