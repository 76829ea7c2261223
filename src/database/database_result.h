// The result codes of the client database. They borrow Windows' error numbers, whatever the failure really
// was.
#pragma once

#include "platform/windows_api.h"

inline constexpr DWORD DatabaseOk = 0;
inline constexpr DWORD DatabaseMissing = 2;
inline constexpr DWORD EntryMalformed = 5;
inline constexpr DWORD MutexNotCreated = 6;
inline constexpr DWORD OutOfMemory = 8;
inline constexpr DWORD DatabaseCorrupt = 11;
inline constexpr DWORD CatalogueTooSmall = 122;
inline constexpr DWORD NoClientSection = 123;
inline constexpr DWORD EntryTooSmall = 234;
inline constexpr DWORD LoadAborted = 995;
inline constexpr DWORD BlockNotReleased = 998;
