#include "quillonctl/event_tail.h"

#include <sys/stat.h>
#include <time.h>

#include <cstdio>
#include <fstream>

#include "platform/linux/instance/home.h"

namespace quillonctl {
namespace {

constexpr std::size_t kMostLines = 20;

std::string JournalCommand() {
    return "journalctl --identifier=Quillon --quiet --no-pager";
}

void Keep(std::vector<std::string>& lines, std::string line) {
    if (line.empty()) return;
    lines.push_back(std::move(line));
    if (lines.size() > kMostLines) lines.erase(lines.begin());
}

std::vector<std::string> LinesOfFile(off_t offset) {
    std::vector<std::string> lines;
    std::ifstream log(PathOf(HomePlace::EventLog), std::ios::binary);
    log.seekg(offset);
    for (std::string line; std::getline(log, line);)
        Keep(lines, line);
    return lines;
}

std::vector<std::string> LinesOfJournal(std::int64_t second) {
    std::vector<std::string> lines;
    // Without a journal, or without leave to read it, this says nothing.
    const std::string command = JournalCommand() + " --since=@" + std::to_string(second) + " 2>/dev/null";
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

EventTail::EventTail() : offset_(0), second_(::time(nullptr)) {
    struct stat found {};
    if (HasOwnHome() && ::stat(PathOf(HomePlace::EventLog).c_str(), &found) == 0) offset_ = found.st_size;
}

std::vector<std::string> EventTail::Lines() const {
    return HasOwnHome() ? LinesOfFile(offset_) : LinesOfJournal(second_);
}

std::string EventTail::Hint() {
    return HasOwnHome() ? "see " + PathOf(HomePlace::EventLog) : "see " + JournalCommand();
}

}  // namespace quillonctl
