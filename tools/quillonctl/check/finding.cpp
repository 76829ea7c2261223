#include "quillonctl/check/finding.h"

#include <algorithm>
#include <tuple>

namespace quillonctl {

void Findings::Refuse(std::string file, int line, const std::string& why) {
    all_.push_back({Severity::Error, std::move(file), line, "the load is refused: " + why, true});
}

bool Findings::Refuses() const {
    return std::ranges::any_of(all_, &Finding::refuses);
}

void Findings::SortByPlace() {
    std::ranges::stable_sort(all_, {}, [](const Finding& one) { return std::tie(one.file, one.line); });
}

std::size_t Findings::Count(Severity severity) const {
    return static_cast<std::size_t>(std::ranges::count(all_, severity, &Finding::severity));
}

const char* SeverityName(Severity severity) {
    switch (severity) {
        case Severity::Error:
            return "error";
        case Severity::Warning:
            return "warning";
        default:
            return "note";
    }
}

std::string FindingLine(const Finding& finding) {
    std::string line = finding.file;
    if (finding.line > 0) line += ":" + std::to_string(finding.line);
    return line + ": " + SeverityName(finding.severity) + ": " + finding.text + "\n";
}

}  // namespace quillonctl
