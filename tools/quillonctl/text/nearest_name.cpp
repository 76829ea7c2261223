#include "quillonctl/text/nearest_name.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace quillonctl {
namespace {

// Beyond this length a word is no slip of the fingers, and comparing it would only take time.
constexpr std::size_t LongestWord = 64;

bool SameLetter(char one, char other) {
    return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
}

}  // namespace

std::size_t EditDistance(std::string_view one, std::string_view other) {
    // Three rows of the usual table: a swap reaches back over two of them.
    std::vector<std::size_t> beforeLast(other.size() + 1);
    std::vector<std::size_t> last(other.size() + 1);
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= one.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (SameLetter(one[i - 1], other[j - 1]) ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            const bool swapped = i > 1 && j > 1 && SameLetter(one[i - 1], other[j - 2]) &&
                                 SameLetter(one[i - 2], other[j - 1]);
            if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        std::swap(beforeLast, last);
        std::swap(last, row);
    }
    return last[other.size()];
}

std::string NearestName(std::string_view word, const std::vector<std::string>& known) {
    if (word.size() > LongestWord) return "";
    const std::string* nearest = nullptr;
    // A third of the letters may be wrong, but at least one, and never all of them.
    std::size_t bound = std::max<std::size_t>(2, word.size() / 3 + 1);
    for (const std::string& name : known) {
        if (name.size() > LongestWord) continue;
        const std::size_t distance = EditDistance(word, name);
        if (distance >= bound || distance >= std::min(word.size(), name.size())) continue;
        nearest = &name;
        bound = distance;
    }
    return nearest != nullptr ? *nearest : "";
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& known) {
    const std::string nearest = NearestName(word, known);
    return nearest.empty() ? "" : "; did you mean '" + nearest + "'?";
}

}  // namespace quillonctl
