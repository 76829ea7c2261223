#include "platform/linux/events/event_writer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <mutex>

#include "platform/event_copy.h"
#include "platform/linux/events/message_table.h"
#include "platform/linux/faces/event_log.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/system/descriptor.h"
#include "platform/linux/system/guarded_file.h"
#include "platform/linux/system/local_time.h"
#include "platform/linux/system/spare_descriptor.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr std::size_t InsertionLimit = 31839;  // Windows' limit of one string
constexpr mode_t LogMode = 0640;
constexpr char JournalSocket[] = "/run/systemd/journal/socket";
constexpr DWORD LayerErrorNumber = 0xC0000022u;  // the number whose whole text is its insertion
constexpr char LayerSource[] = "Quillon";

std::string Hexadecimal(DWORD number) {
    char text[11];
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(number));
    return text;
}

const char* TypeWord(WORD type) {
    return type == EVENTLOG_ERROR_TYPE ? "error" : type == EVENTLOG_WARNING_TYPE ? "warning" : "information";
}

int Priority(WORD type) {
    return type == EVENTLOG_ERROR_TYPE ? LOG_ERR : type == EVENTLOG_WARNING_TYPE ? LOG_WARNING : LOG_INFO;
}

// Line ends at the end go, others become blanks; an escape sequence is made harmless.
std::string OneLine(std::string_view text) {
    std::string line(text.substr(0, std::min(text.size(), InsertionLimit)));
    while (line.ends_with('\n') || line.ends_with('\r'))
        line.pop_back();
    for (char& c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\r' || c == '\t') {
            c = ' ';
        } else if (byte < 0x20 || byte == 0x7F) {
            c = '?';
        }
    }
    return line;
}

std::string FillIn(std::string_view pattern, const std::vector<std::string_view>& insertions) {
    std::string text;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool isInsertion =
            pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] >= '1' && pattern[i + 1] <= '9';
        if (!isInsertion) {
            text += pattern[i];
            continue;
        }
        const auto place = static_cast<std::size_t>(pattern[++i] - '1');
        if (place < insertions.size()) text += OneLine(insertions[place]);
    }
    return text;
}

// A disk that was full leaves half a line; the next event then begins on a line of its own. Under the lock
// no other process is in the middle of a line, and the lock is held until the log is closed. It isn't waited
// for: whoever may read the log can hold it.
bool EndsInHalfALine(int log) {
    if (flock(log, LOCK_EX | LOCK_NB) != 0) return false;
    char last = '\n';
    const off_t end = lseek(log, 0, SEEK_END);
    return end > 0 && pread(log, &last, 1, end - 1) == 1 && last != '\n';
}

DWORD AppendLine(SpareDescriptor& spare, const std::string& line) {
    const std::string path = PathOf(HomePlace::EventLog);
    const Descriptor log =
        spare.Use([&path] { return OpenToWrite(path, O_RDWR | O_CREAT | O_APPEND, LogMode); });
    if (!log) return WindowsErrorFrom(errno);
    const std::string whole = EndsInHalfALine(log.Get()) ? "\n" + line : line;
    ssize_t written = 0;
    do {
        written = write(log.Get(), whole.data(), whole.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) return WindowsErrorFrom(errno);
    return static_cast<std::size_t>(written) == whole.size() ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

DWORD AppendToLog(const std::string& line) {
    struct Turn {
        std::mutex mutex;  // one line at a time
        SpareDescriptor spare;
    };
    static Turn& turn = *new Turn;  // threads may report while the process ends
    const std::lock_guard guard(turn.mutex);
    turn.spare.Refill();
    const DWORD error = AppendLine(turn.spare, line);
    turn.spare.Refill();
    return error;
}

std::atomic<bool> IsCopied{false};

// A pipe that has room takes so much without waiting.
void CopyToStandardError(const std::string& line) {
    pollfd room{STDERR_FILENO, POLLOUT, 0};
    if (poll(&room, 1, 0) != 1 || (room.revents & POLLOUT) == 0) return;
    [[maybe_unused]] const ssize_t ignored =
        write(STDERR_FILENO, line.data(), std::min<std::size_t>(line.size(), PIPE_BUF));
}

DWORD SendToJournal(const EventRecord& event) {
    std::vector<std::string> fields = JournalFields(event);
    std::vector<iovec> vectors;
    vectors.reserve(fields.size());
    for (std::string& field : fields)
        vectors.push_back({field.data(), field.size()});
    const int result = sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size()));
    return result < 0 ? WindowsErrorFrom(-result) : ERROR_SUCCESS;
}

}  // namespace

const char* FindMessageText(std::uint32_t number) {
    const MessageTableRow* end = MessageTable + MessageTableSize;
    const MessageTableRow* row =
        std::find_if(MessageTable, end, [number](const MessageTableRow& r) { return r.number == number; });
    return row != end ? row->text : nullptr;
}

EventRecord MakeEvent(WORD type, DWORD number, std::string_view source,
                      const std::vector<std::string_view>& insertions) {
    EventRecord event{type, number, OneLine(source), {}};
    if (const char* pattern = FindMessageText(number); pattern != nullptr) {
        std::string_view text = pattern;
        while (text.ends_with('\n') || text.ends_with('\r'))
            text.remove_suffix(1);
        event.text = FillIn(text, insertions);
        return event;
    }
    event.text = "There is no text for event " + Hexadecimal(number) + ".";
    for (const std::string_view insertion : insertions)
        event.text += " " + OneLine(insertion);
    return event;
}

std::string EventLine(const EventRecord& event, const tm& localTime) {
    char time[sizeof("YYYY-MM-DDTHH:MM:SS") + 8];
    strftime(time, sizeof(time), "%Y-%m-%dT%H:%M:%S", &localTime);
    return std::string(time) + " " + TypeWord(event.type) + " " + Hexadecimal(event.number) + " " +
           event.source + ": " + event.text + "\n";
}

std::vector<std::string> JournalFields(const EventRecord& event) {
    return {"MESSAGE=" + event.text,
            "PRIORITY=" + std::to_string(Priority(event.type)),
            "EVENT_NUMBER=" + Hexadecimal(event.number),
            std::string("EVENT_TYPE=") + TypeWord(event.type),
            "EVENT_SOURCE=" + event.source,
            "SYSLOG_IDENTIFIER=" + event.source};
}

void CopyEventsToStandardError() {
    IsCopied = true;
}

DWORD WriteEvent(const EventRecord& event) {
    const bool isCopied = IsCopied;
    const std::string line =
        isCopied || HasOwnHome() ? EventLine(event, LocalTime(RealTime().tv_sec)) : std::string();
    if (isCopied) CopyToStandardError(line);
    if (HasOwnHome()) return AppendToLog(line);
    // Without its socket the journal's library says that all went well.
    if (access(JournalSocket, W_OK) == 0) return SendToJournal(event);
    syslog(LOG_DAEMON | Priority(event.type), "%s %s %s: %s", TypeWord(event.type),
           Hexadecimal(event.number).c_str(), event.source.c_str(), event.text.c_str());
    return ERROR_SUCCESS;
}

void ReportLayerError(const std::string& sentence) {
    WriteEvent(MakeEvent(EVENTLOG_ERROR_TYPE, LayerErrorNumber, LayerSource, {sentence}));
}
