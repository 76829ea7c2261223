// Events for the operator: a number of the message table with at most one string, filtered by type.
//
// Any thread may report at any time. Reporting never stops anything: what can't be reported is dropped.
#pragma once

#include "platform/windows_api.h"

inline constexpr char EventSource[] = "Quillon";

// Lets every type of event through.
inline constexpr WORD AllEvents = 0xFFFF;

// What a report passes for the insertion of its message.
inline constexpr int NoString = 0;
inline constexpr int OneString = 1;
inline constexpr int SystemString = -1;  // the system's text for the error number

// The event type that the top two bits of a number stand for; the same bit of a LogLevel lets it through.
WORD EventType(DWORD number);

// Returns 1 if the event was reported or filtered out, 0 if it could not be reported. `systemError` is
// GetLastError() of the caller, read before anything else could change it.
int ReportServiceEvent(const char* source, DWORD number, int stringCount, const char* text, WORD logLevel,
                       DWORD systemError);

// The LogLevel of the record that is installed; 0 before the first. Whoever installs a record sets it.
void InstallEventMask(DWORD logLevel);
DWORD InstalledEventMask();

// From now on a failure that a request can bring about is reported once in so many seconds for each number;
// 0: each time. How many were left out is said in front of the next one. Events that no level filters, and
// those of a load, are never left out.
void LimitEventRepeats(DWORD seconds);

// One event of the service: without an insertion, with a text, or with the system's text for an error number.
// `mask` is a LogLevel, of which 16 bits count.
void LogEvent(DWORD number, DWORD mask = InstalledEventMask());
void LogEventText(DWORD number, const char* text, DWORD mask = InstalledEventMask());
void LogEventError(DWORD number, DWORD systemError, DWORD mask = InstalledEventMask());

// The catch-all of a load: the text of GetLastError(), under the installed mask.
void ReportSystemError();

// A section of the database that can't be used, under the installed mask. Returns 1.
int ReportMalformedEntry(const char* sectionName);
