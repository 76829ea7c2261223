// What the running service tells an operator about itself, over the way by which controls come in.
#pragma once

#include <cstddef>
#include <cstdint>

enum class ServiceReport : std::uint32_t {
    Counters = 1,
    Clients = 2,     // those in the list, and those that were read from the file last
    Unanswered = 3,  // the hardware addresses that got no answer
    Client = 4,      // all that is known of one hardware address, which the question names
};

struct ReportQuestion {
    ServiceReport report;
    std::uint64_t from;  // 0, or where the page before said that the next one begins
    const char* about;   // never null
};

// A report is handed out in pages, each made for itself, so that none of them takes long.
struct ReportPage {
    char* text;  // lines, without a NUL at the end
    std::size_t room;
    std::size_t length;
    std::uint64_t next;     // where the next page begins; 0 after the last one
    std::uint32_t edition;  // pages of two editions don't fit together: who gets one begins anew
};

// Fills the rest of a page that has its text and room. False if it doesn't know such a report, or can't make
// it. It is called on a thread that has other things to do, one call at a time.
using ReportProvider = bool (*)(const ReportQuestion& question, ReportPage* page);

// From now on this one is asked; null: nobody. Any thread may call. Where there is no such way for an
// operator, nobody ever asks.
void SetReportProvider(ReportProvider provider);
