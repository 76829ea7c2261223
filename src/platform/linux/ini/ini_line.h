// One line of an INI file, and the trimming of names in it. Within the layer only.
#pragma once

#include <optional>
#include <string_view>

// All white space, and 0x1A, the end of a file in old times.
constexpr bool IsIniBlank(char c) {
    return static_cast<unsigned char>(c) <= ' ' && (c == ' ' || (c >= '\t' && c <= '\r') || c == '\x1A');
}

// Without blanks at both ends.
constexpr std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && IsIniBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsIniBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// Takes the first line off `rest`, without its line feed; the last line needs none. `rest` isn't empty.
std::string_view TakeLine(std::string_view& rest);

// The name that a heading `[name]` gives, up to the last bracket of the line; it may be empty. Nothing for
// any other line, and for a heading without an end.
std::optional<std::string_view> HeadingName(std::string_view line);

struct IniKey {
    std::string_view name;   // never empty
    std::string_view value;  // without the pair of quotes around the whole
};

// Nothing for comments, headings and lines without an equals sign.
std::optional<IniKey> ParseKey(std::string_view line);
