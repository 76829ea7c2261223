#include "quillonctl/edit/unified_diff.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace quillonctl {
namespace {

constexpr std::size_t Context = 3;
// Above this number of pairs of lines that have to be compared, all of them count as replaced.
constexpr std::size_t MostPairs = 4'000'000;

using TextLines = std::vector<std::string_view>;

// With their line ends.
TextLines LinesWithEnds(std::string_view text) {
    TextLines lines;
    while (!text.empty()) {
        const std::size_t size = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return lines;
}

struct Step {
    char mark;  // ' ', '-' or '+'
    std::string_view line;
};

// The steps from one list of lines to the other with the fewest marks.
void AppendSteps(const TextLines& before, const TextLines& after, std::vector<Step>& steps) {
    const std::size_t width = after.size() + 1;
    const bool isSmall = before.size() * after.size() <= MostPairs;
    // How many lines the rests from here have in common.
    std::vector<std::uint32_t> common(isSmall ? (before.size() + 1) * width : 0);
    for (std::size_t i = before.size(); isSmall && i-- > 0;)
        for (std::size_t j = after.size(); j-- > 0;)
            common[i * width + j] = before[i] == after[j]
                                        ? common[(i + 1) * width + j + 1] + 1
                                        : std::max(common[(i + 1) * width + j], common[i * width + j + 1]);
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < before.size() || j < after.size()) {
        if (isSmall && i < before.size() && j < after.size() && before[i] == after[j]) {
            steps.push_back({' ', before[i++]});
            ++j;
        } else if (i < before.size() && (j == after.size() || !isSmall ||
                                         common[(i + 1) * width + j] >= common[i * width + j + 1])) {
            steps.push_back({'-', before[i++]});
        } else {
            steps.push_back({'+', after[j++]});
        }
    }
}

std::vector<Step> StepsBetween(const TextLines& before, const TextLines& after) {
    const std::size_t shorter = std::min(before.size(), after.size());
    std::size_t head = 0;
    while (head < shorter && before[head] == after[head])
        ++head;
    std::size_t tail = 0;
    while (tail < shorter - head && before[before.size() - 1 - tail] == after[after.size() - 1 - tail])
        ++tail;
    const auto middle = [&](const TextLines& lines) {
        return TextLines(lines.begin() + static_cast<std::ptrdiff_t>(head),
                         lines.end() - static_cast<std::ptrdiff_t>(tail));
    };
    std::vector<Step> steps;
    for (std::size_t at = 0; at < head; ++at)
        steps.push_back({' ', before[at]});
    AppendSteps(middle(before), middle(after), steps);
    for (std::size_t at = before.size() - tail; at < before.size(); ++at)
        steps.push_back({' ', before[at]});
    return steps;
}

// "12,3"; a range without lines is counted from the line before it.
std::string RangeText(std::size_t first, std::size_t count) {
    return std::to_string(count == 0 ? first - 1 : first) + (count == 1 ? "" : "," + std::to_string(count));
}

struct Hunk {
    std::size_t begin;
    std::size_t end;  // after its last step, the context included
};

// The changes with the lines around them; those whose surroundings meet are one.
std::vector<Hunk> HunksOf(const std::vector<Step>& steps) {
    std::vector<Hunk> hunks;
    for (std::size_t at = 0; at < steps.size(); ++at) {
        if (steps[at].mark == ' ') continue;
        const std::size_t begin = at - std::min(at, Context);
        const std::size_t end = std::min(at + Context + 1, steps.size());
        if (!hunks.empty() && begin <= hunks.back().end)
            hunks.back().end = end;
        else
            hunks.push_back({begin, end});
    }
    return hunks;
}

}  // namespace

std::string UnifiedDiff(const std::string& path, std::string_view before, std::string_view after) {
    const std::vector<Step> steps = StepsBetween(LinesWithEnds(before), LinesWithEnds(after));
    std::string text;
    std::size_t at = 0;
    std::size_t oldLine = 1;
    std::size_t newLine = 1;
    for (const Hunk& hunk : HunksOf(steps)) {
        for (; at < hunk.begin; ++at, ++oldLine, ++newLine) {
        }
        std::string body;
        std::size_t oldCount = 0;
        std::size_t newCount = 0;
        for (; at < hunk.end; ++at) {
            oldCount += steps[at].mark != '+' ? 1 : 0;
            newCount += steps[at].mark != '-' ? 1 : 0;
            body += steps[at].mark + std::string(steps[at].line);
            if (!steps[at].line.ends_with('\n')) body += "\n\\ No newline at end of file\n";
        }
        text += "@@ -" + RangeText(oldLine, oldCount) + " +" + RangeText(newLine, newCount) + " @@\n" + body;
        oldLine += oldCount;
        newLine += newCount;
    }
    return text.empty() ? "" : "--- " + path + "\n+++ " + path + "\n" + text;
}

}  // namespace quillonctl
