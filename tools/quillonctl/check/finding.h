// What a check has found, each with its place.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quillonctl {

enum class Severity : std::uint8_t { Error, Warning, Note };

struct Finding {
    Severity severity;
    std::string file;
    int line;  // 0: of the file as a whole
    std::string text;
    bool refuses = false;  // a load with this fails
};

// The findings of one check, in the order of their making until they are sorted.
class Findings {
  public:
    void Add(Severity severity, std::string file, int line, std::string text) {
        all_.push_back({severity, std::move(file), line, std::move(text), false});
    }
    // An error that makes a load fail; the text begins with that.
    void Refuse(std::string file, int line, const std::string& why);
    void SortByPlace();

    const std::vector<Finding>& All() const { return all_; }
    std::size_t Count(Severity severity) const;
    bool Refuses() const;

  private:
    std::vector<Finding> all_;
};

const char* SeverityName(Severity severity);

// "FILE:LINE: error: TEXT" and a line end.
std::string FindingLine(const Finding& finding);

}  // namespace quillonctl
