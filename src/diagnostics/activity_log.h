// The log file: banners, bindings and one trace block for every datagram, in plain text.
#pragma once

#include "platform/windows_api.h"

// Writes `text`, as it is, at the end of `file`, holding `mutex`. Returns 1 if it was written; 0 if the mutex
// could not be had within `milliseconds` or the write failed, and the text is lost then. `file` may be null:
// nothing is written.
int WriteLogLine(const char* text, HANDLE file, HANDLE mutex, DWORD milliseconds);

// As WriteLogLine, but the file doesn't grow beyond `sizeLimit` bytes; 0: no limit. A text for which there is
// no room is lost, and one event says so until there is room again.
int WriteTraceBlock(const char* text, HANDLE file, HANDLE mutex, DWORD milliseconds, DWORD sizeLimit);

// The banners of start and stop carry the date and time of the call.
void WriteStartBanner(HANDLE file, HANDLE mutex);
void WriteStopBanner(HANDLE file, HANDLE mutex);
