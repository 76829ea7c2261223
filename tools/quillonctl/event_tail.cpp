#include "quillonctl/event_tail.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "platform/linux/instance/home.h"

namespace quillonctl {
namespace {

constexpr std::size_t MostLines = 20;

std::string JournalCommand() {
    return "journalctl --identifier=Quillon --quiet --no-pager";
}

void Keep(std::vector<std::string>& lines, std::string line) {
    if (line.empty()) return;
    lines.push_back(std::move(line));
    if (lines.size() > MostLines) lines.erase(lines.begin());
}

std::vector<std::string> LinesOfFile(off_t offset, const std::string& number) {
    std::vector<std::string> lines;
    const std::string path = PathOf(HomePlace::EventLog);
    std::error_code failure;
    if (!std::filesystem::is_regular_file(path, failure)) return lines;  // a pipe would hold us up
    std::ifstream log(path, std::ios::binary);
    log.seekg(offset);
    const std::string part = number.empty() ? "" : " " + number + " ";
    for (std::string line; std::getline(log, line);)
        if (line.find(part) != std::string::npos) Keep(lines, line);
    return lines;
}

std::vector<std::string> LinesOfJournal(std::chrono::microseconds time, const std::string& number) {
    std::vector<std::string> lines;
    char since[40];
    std::snprintf(since, sizeof since, "@%lld.%06lld", static_cast<long long>(time.count() / 1000000),
                  static_cast<long long>(time.count() % 1000000));
    // Without a journal, or without leave to read it, this says nothing.
    const std::string match = number.empty() ? "" : " EVENT_NUMBER=" + number;
    const std::string command = JournalCommand() + " --since=" + since + match + " 2>/dev/null";
    std::FILE* journal = ::popen(command.c_str(), "r");
    if (journal == nullptr) return lines;
    std::string line;
    for (int next = std::fgetc(journal); next != EOF; next = std::fgetc(journal)) {
        if (next != '\n') {
            line += static_cast<char>(next);
            continue;
        }
        Keep(lines, line);
        line.clear();
    }
    Keep(lines, line);
    ::pclose(journal);
    return lines;
}

}  // namespace

EventTail::EventTail()
    : offset_(0),
      time_(std::chrono::duration_cast<std::chrono::microseconds>(
          std::chrono::system_clock::now().time_since_epoch())) {
    struct stat found {};
    if (HasOwnHome() && ::stat(PathOf(HomePlace::EventLog).c_str(), &found) == 0) offset_ = found.st_size;
}

std::vector<std::string> EventTail::Lines(const std::string& number) const {
    return HasOwnHome() ? LinesOfFile(offset_, number) : LinesOfJournal(time_, number);
}

std::string EventTail::Hint() {
    return HasOwnHome() ? "see " + PathOf(HomePlace::EventLog) : "see " + JournalCommand();
}

}  // namespace quillonctl
