#include "quillonctl/command_line/colour.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace quillonctl {

bool MayHaveColour(int descriptor) {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    const bool isRefused = refused != nullptr && *refused != '\0';
    const bool isPlain = terminal == nullptr || *terminal == '\0' || std::strcmp(terminal, "dumb") == 0;
    return !isRefused && !isPlain && ::isatty(descriptor) == 1;
}

std::string Painted(const std::string& text, Colour colour, bool isColoured) {
    static constexpr const char* Begins[] = {"\033[31m", "\033[32m", "\033[36m", "\033[33m"};
    if (!isColoured || text.empty()) return text;
    return Begins[static_cast<std::size_t>(colour)] + text + "\033[0m";
}

std::string ColouredDiff(const std::string& diff) {
    if (!MayHaveColour(STDOUT_FILENO)) return diff;
    std::string coloured;
    for (std::size_t begin = 0; begin < diff.size();) {
        const std::size_t end = std::min(diff.find('\n', begin), diff.size());
        const std::string line = diff.substr(begin, end - begin);
        const bool isName = line.starts_with("---") || line.starts_with("+++");
        const bool isChange = line.starts_with('-') || line.starts_with('+');
        const Colour colour = line.starts_with('-')   ? Colour::Red
                              : line.starts_with('+') ? Colour::Green
                                                      : Colour::Cyan;
        coloured += Painted(line, colour, (isChange && !isName) || line.starts_with("@@")) + "\n";
        begin = end + 1;
    }
    return coloured;
}

}  // namespace quillonctl
