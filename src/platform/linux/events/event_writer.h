// Events on their way out: the record of one, its line and its way into the file, the journal or syslog.
// Within the layer only.
#pragma once

#include <time.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/faces/types.h"

struct EventRecord {
    WORD type;  // 1 error, 2 warning; anything else is information
    DWORD number;
    std::string source;
    std::string text;  // one line of printable text
};

// The event's text is that of the message table with `insertions` in their places, without the line end. What
// could break the line or play with a terminal is replaced in the insertions. A number that the table hasn't
// got is said so.
EventRecord MakeEvent(WORD type, DWORD number, std::string_view source,
                      const std::vector<std::string_view>& insertions);

// "2026-11-22T20:27:04 error 0xC0000022 Quillon: text", with a line feed.
std::string EventLine(const EventRecord& event, const tm& localTime);

// The fields of the event as a journal takes them, NAME=value.
std::vector<std::string> JournalFields(const EventRecord& event);

// To events.log in a home of its own, else to the journal, else to syslog. Returns 0 or an error number. From
// the second event on it needs none of the descriptors that are left, so that a lack of them can be reported.
DWORD WriteEvent(const EventRecord& event);

// An error that the layer itself has to tell, as an event whose text is the sentence. Changes no last error.
void ReportLayerError(const std::string& sentence);
