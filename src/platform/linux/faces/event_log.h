// The event log, and the texts of system errors and of the service's message table.
//
// With QUILLON_HOME set, events go to events.log there, a line each; without, to the journal, or to syslog
// where there is none. Any thread may report.
#pragma once

#include "platform/linux/faces/types.h"

inline constexpr WORD EVENTLOG_SUCCESS = 0;
inline constexpr WORD EVENTLOG_ERROR_TYPE = 1;
inline constexpr WORD EVENTLOG_WARNING_TYPE = 2;
inline constexpr WORD EVENTLOG_INFORMATION_TYPE = 4;

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

HANDLE WINAPI RegisterEventSourceA(LPCSTR server, LPCSTR source);
BOOL WINAPI DeregisterEventSource(HANDLE log);

// The text is that of `number` in the message table, with the strings in the places of its insertions. Line
// breaks and other control characters in a string are replaced, so that an event is one line. A log that
// can't be written fails the call and nothing else.
BOOL WINAPI ReportEventA(HANDLE log, WORD type, WORD category, DWORD number, PVOID user, WORD stringCount,
                         DWORD dataSize, LPCSTR* strings, LPVOID data);

// The system's text for an error number, in a buffer that LocalFree releases (flags 0x1100) or in the
// caller's (0x1000). It is a sentence without a line end. Returns its length; 0 with ERROR_MR_MID_NOT_FOUND
// (317) if the system has no text.
DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPSTR buffer,
                            DWORD size, void* arguments);
HLOCAL WINAPI LocalFree(HLOCAL block);
