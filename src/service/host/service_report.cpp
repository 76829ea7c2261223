#include "service/host/service_report.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "database/last_answer.h"
#include "database/lookup/client_index.h"
#include "diagnostics/recent_clients.h"
#include "diagnostics/service_counters.h"
#include "platform/receive_drops.h"
#include "request/interfaces.h"
#include "service/generation.h"

namespace {

using Steady = std::chrono::steady_clock;

std::atomic<std::int64_t> StartTime;
std::atomic<Steady::rep> StartTick;

// Longer than any line.
constexpr std::size_t LineRoom = 256;

// A page has room for as many clients as that at least.
constexpr std::size_t ClientsAtOnce = 64;

struct PageWriter {
    ReportPage* page;

    bool HasRoom(std::size_t lines = 1) const { return page->room - page->length >= lines * LineRoom; }

    // Caller has seen that there is room.
    __attribute__((format(printf, 2, 3))) void Line(const char* format, ...) {
        va_list values;
        va_start(values, format);
        const int length = std::vsnprintf(page->text + page->length, LineRoom, format, values);
        va_end(values);
        page->length += static_cast<std::size_t>(length);
    }
};

// Keeps what hangs on the current generation alive; there may be none.
class GenerationUse {
  public:
    GenerationUse() : generation_(PinCurrentGeneration()) {}
    ~GenerationUse() {
        if (generation_ != nullptr) ReleaseGeneration(generation_);
    }
    GenerationUse(const GenerationUse&) = delete;
    GenerationUse& operator=(const GenerationUse&) = delete;

    DWORD Number() const { return generation_ != nullptr ? NumberOf(generation_) : 0; }
    // Null if there is none.
    const ClientIndex* Index() const {
        const ClientEntry* const head = generation_ != nullptr ? RecordOf(generation_).ClientList : nullptr;
        return head != nullptr ? head->index : nullptr;
    }

  private:
    Generation* const generation_;
};

template <std::size_t N>
void WriteCounts(PageWriter* writer, const char* group, const char* const (&names)[N],
                 const std::uint64_t (&counts)[N]) {
    for (std::size_t i = 0; i < N; ++i)
        writer->Line("%s.%s %llu\n", group, names[i], static_cast<unsigned long long>(counts[i]));
}

void WriteNumber(PageWriter* writer, const char* name, std::uint64_t number) {
    writer->Line("%s %llu\n", name, static_cast<unsigned long long>(number));
}

void WriteLoad(PageWriter* writer, const GenerationUse& generation) {
    const ClientIndex* const index = generation.Index();
    const LoadCounts loaded = index != nullptr ? index->counts : LoadCounts{};
    WriteNumber(writer, "clients.inCache", loaded.listed);
    WriteNumber(writer, "clients.beyondCache", loaded.beyondCache);
    WriteNumber(writer, "clients.malformed", loaded.malformed);
    WriteNumber(writer, "clients.cacheBytes", loaded.cacheBytes);
}

// Of the sockets that are bound now. Silence if the system doesn't tell.
void WriteReceiveDrops(PageWriter* writer) {
    BoundSocketsCopy bound;
    RefreshBoundSockets(&bound);
    std::uint64_t drops = 0;
    for (DWORD i = 0; i < bound.count; ++i)
        if (!AddReceiveDrops(bound.sockets[i], &drops)) return;
    WriteNumber(writer, "kernelDrops", drops);
}

void WriteCounters(PageWriter* writer) {
    const ServiceCounts counts = ReadServiceCounts();
    const auto up = Steady::duration(Steady::now().time_since_epoch().count() - StartTick.load());
    WriteNumber(writer, "startTime", static_cast<std::uint64_t>(StartTime.load()));
    WriteNumber(writer, "uptimeSeconds",
                static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(up).count()));
    WriteNumber(writer, "threads", counts.poolThreads);
    WriteLoad(writer, GenerationUse());
    WriteNumber(writer, "reloads.done", counts.reloadsDone);
    WriteNumber(writer, "reloads.refused", counts.reloadsRefused);
    WriteCounts(writer, "requests", RequestKindNames, counts.requests);
    for (std::size_t kind = 0; kind < ReplyKinds; ++kind) {
        const std::string group = std::string("replies.") + ReplyKindNames[kind];
        WriteCounts(writer, group.c_str(), ReplyRouteNames, counts.replies[kind]);
    }
    WriteCounts(writer, "refusals", RefusalNames, counts.refusals);
    WriteNumber(writer, "sendFailures", counts.failedSends);
    WriteReceiveDrops(writer);
    WriteNumber(writer, "unansweredForgotten", UnansweredClients.Forgotten());
}

struct AddressTexts {
    char hardware[HardwareTextSize] = {};
    char peer[AddressTextSize];
    char local[AddressTextSize];

    explicit AddressTexts(const SeenClient& seen) {
        std::uint8_t bytes[HardwareAddressSize];
        std::memcpy(bytes, seen.address, sizeof bytes);
        ConvertHardwareAddress(bytes, hardware, seen.length);
        FormatAddress(seen.peer, peer);
        FormatAddress(seen.local, local);
    }
};

void WriteAnswered(PageWriter* writer, const SeenClient& seen) {
    const AddressTexts texts(seen);
    if (seen.last == 0)
        writer->Line("silent %s %s\n", texts.hardware, texts.peer);
    else
        writer->Line("answered %s %s %lld %s %s\n", texts.hardware, texts.peer,
                     static_cast<long long>(seen.last), ReplyKindNames[seen.kind],
                     ReplyRouteNames[seen.outcome]);
}

void WriteUnanswered(PageWriter* writer, const SeenClient& seen) {
    const AddressTexts texts(seen);
    writer->Line("unanswered %s %lld %lld %llu %s %s %s %s\n", texts.hardware,
                 static_cast<long long>(seen.first), static_cast<long long>(seen.last),
                 static_cast<unsigned long long>(seen.count), RequestKindNames[seen.kind], texts.peer,
                 texts.local, RefusalNames[seen.outcome]);
}

void WriteEntry(PageWriter* writer, const ClientEntry* entry) {
    SeenClient seen = {};
    std::memcpy(seen.address, entry->packet.chaddr, sizeof seen.address);
    seen.length = entry->packet.hlen;
    seen.peer = entry->packet.yiaddr;
    const LastAnswer answer = LastAnswerOf(entry);
    seen.last = answer.time;
    seen.kind = answer.kind;
    seen.outcome = answer.route;
    WriteAnswered(writer, seen);
}

// The clients of a table from place `*from` on, as far as there is room. True if these were the last.
bool WriteRecent(PageWriter* writer, RecentClients* table, std::uint64_t* from,
                 void (*write)(PageWriter*, const SeenClient&)) {
    while (writer->HasRoom(ClientsAtOnce)) {
        SeenClient clients[ClientsAtOnce];
        const std::size_t count = table->Copy(*from, clients, ClientsAtOnce);
        for (std::size_t i = 0; i < count; ++i)
            write(writer, clients[i]);
        *from += count;
        if (count < ClientsAtOnce) return true;
    }
    return false;
}

// The slots of the index first, which can be gone on with anywhere, then what was read from the file. Of
// clients with the same address only the first is ever answered, and it has the slot.
void WriteClients(PageWriter* writer, std::uint64_t from) {
    const GenerationUse generation;
    writer->page->edition = generation.Number();
    const ClientIndex* const index = generation.Index();
    const std::uint64_t slots = index != nullptr ? index->slotCount : 0;
    for (; from < slots && writer->HasRoom(); ++from)
        if (index->slots[from].entry != nullptr) WriteEntry(writer, index->slots[from].entry);
    writer->page->next = from;
    if (from < slots) return;
    std::uint64_t place = from - slots;
    const bool isThrough = WriteRecent(writer, &ClientsReadFromFile, &place, WriteAnswered);
    writer->page->next = isThrough ? 0 : slots + place;
}

void WriteUnansweredClients(PageWriter* writer, std::uint64_t from) {
    const bool isThrough = WriteRecent(writer, &UnansweredClients, &from, WriteUnanswered);
    writer->page->next = isThrough ? 0 : from;
}

void WriteClient(PageWriter* writer, const char* about) {
    std::uint8_t bytes[HardwareAddressSize] = {};
    char text[HardwareTextSize] = {};
    std::snprintf(text, sizeof text, "%s", about);
    const std::uint8_t length = ConvertHardwareAddress(bytes, text, -1);
    const GenerationUse generation;
    const IndexedClient* const listed =
        generation.Index() != nullptr ? FindIndexedClient(generation.Index(), bytes, HardwareAddressSize)
                                      : nullptr;
    if (listed != nullptr) WriteEntry(writer, listed->entry);
    if (const auto seen = ClientsReadFromFile.Find(bytes, length)) WriteAnswered(writer, *seen);
    if (const auto seen = UnansweredClients.Find(bytes, length)) WriteUnanswered(writer, *seen);
}

}  // namespace

void NoteServiceStart() {
    StartTime = std::time(nullptr);
    StartTick = Steady::now().time_since_epoch().count();
}

bool MakeReportPage(const ReportQuestion& question, ReportPage* page) {
    PageWriter writer = {page};
    page->length = 0;
    page->next = 0;
    page->edition = 0;
    switch (question.report) {
        case ServiceReport::Counters:
            WriteCounters(&writer);
            return true;
        case ServiceReport::Clients:
            WriteClients(&writer, question.from);
            return true;
        case ServiceReport::Unanswered:
            WriteUnansweredClients(&writer, question.from);
            return true;
        case ServiceReport::Client:
            WriteClient(&writer, question.about);
            return true;
    }
    return false;
}
