#include "platform/linux/ini/ini_line.h"

#include <cstring>

namespace {

std::string_view WithoutQuotes(std::string_view value) {
    if (value.size() < 2 || value.front() != value.back()) return value;
    if (value.front() != '"' && value.front() != '\'') return value;
    return value.substr(1, value.size() - 2);
}

}  // namespace

std::string_view TakeLine(std::string_view& rest) {
    const void* end = std::memchr(rest.data(), '\n', rest.size());
    const std::size_t length =
        end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - rest.data()) : rest.size();
    const std::string_view line = rest.substr(0, length);
    rest.remove_prefix(end != nullptr ? length + 1 : length);
    return line;
}

std::optional<std::string_view> HeadingName(std::string_view line) {
    while (!line.empty() && IsIniBlank(line.front()))
        line.remove_prefix(1);
    if (!line.starts_with('[')) return std::nullopt;
    const std::size_t end = line.rfind(']');
    if (end == std::string_view::npos) return std::nullopt;
    return TrimBlanks(line.substr(1, end - 1));
}

std::optional<IniKey> ParseKey(std::string_view line) {
    line = TrimBlanks(line);
    if (line.empty() || line.front() == ';') return std::nullopt;
    if (line.front() == '[' && HeadingName(line)) return std::nullopt;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    const std::string_view name = TrimBlanks(line.substr(0, equals));
    if (name.empty()) return std::nullopt;
    return IniKey{name, WithoutQuotes(TrimBlanks(line.substr(equals + 1)))};
}
