// The registry: HKEY_LOCAL_MACHINE, kept as text in the form of a .reg file in the instance's home.
//
// Keys and value names compare without case. Each writing call is on disk, atomically, when it returns, and
// seen by all open keys of this process; what other processes wrote is seen from the next RegOpenKeyA on. Any
// thread may call.
//
// A line that can't be understood fails each call that reads the file with 1015 (ERROR_REGISTRY_CORRUPT), and
// one event names file and line. A missing file is an empty registry. Another writer that doesn't finish
// within five seconds fails a writing call with 32. All other lines of the file, comments among them, stay as
// they are.
#pragma once

#include "platform/linux/faces/types.h"

using HKEY = struct HKEY__*;
using PHKEY = HKEY*;
using REGSAM = DWORD;

#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000002))))

inline constexpr DWORD ERROR_REGISTRY_CORRUPT = 1015;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;

// All return 0 or an error number: 2 for a missing key or value, 234 for a buffer that is too small (with the
// needed size), 5 for deleting a key with subkeys, 6 for a handle that isn't open, 161 for a path with an
// empty name in it. A key exists if the file has it or a key below it. Texts are given with their NUL, and
// get one if they have none.
LONG WINAPI RegOpenKeyA(HKEY parent, LPCSTR path, PHKEY key);
LONG WINAPI RegCreateKeyA(HKEY parent, LPCSTR path, PHKEY key);
LONG WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size);
LONG WINAPI RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LONG WINAPI RegDeleteKeyA(HKEY parent, LPCSTR path);
LONG WINAPI RegCloseKey(HKEY key);

// Replaces %NAME% from the environment and keeps a name that isn't set. Returns the characters needed with
// the NUL, also when `size` is smaller; 0 on failure.
DWORD WINAPI ExpandEnvironmentStringsA(LPCSTR source, LPSTR target, DWORD size);
