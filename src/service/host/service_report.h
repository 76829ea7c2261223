// What an operator is told about the running service: the reports of platform/service_report.h, in lines of
// words with a blank between them. Hardware addresses are in the form of bootptab, times in seconds since
// 1970, names those of diagnostics/outcome.h.
//
//   Counters           NAME NUMBER, where dots in a name lead into a group
//   Clients, Client    answered ADDRESS IP TIME REPLY ROUTE
//                      silent ADDRESS IP              in the list, and not answered since the start
//   Unanswered, Client unanswered ADDRESS FIRST LAST COUNT REQUEST RELAY INTERFACE REFUSAL
#pragma once

#include "platform/service_report.h"

// A ReportProvider. Any thread may call it, also while there is no generation.
bool MakeReportPage(const ReportQuestion& question, ReportPage* page);

// Counters tells how long the service has been up since this call.
void NoteServiceStart();
