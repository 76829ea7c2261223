#include "platform/linux/instance/service_names.h"

#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <sstream>

#include "platform/linux/instance/home.h"
#include "platform/linux/system/whole_file.h"

namespace {

constexpr std::string_view Blanks = " \t\r\n\v\f";
constexpr std::size_t LargestAnswer = 1 << 20;

// Takes the next word off the text; empty at its end.
std::string_view NextWord(std::string_view& text) {
    const auto start = std::min(text.find_first_not_of(Blanks), text.size());
    const auto end = std::min(text.find_first_of(Blanks, start), text.size());
    const std::string_view word = text.substr(start, end - start);
    text.remove_prefix(end);
    return word;
}

std::optional<ServiceName> AskSystem(const std::string& name, const std::string& protocol) {
    servent entry{};
    servent* found = nullptr;
    std::vector<char> storage(1024);
    const char* asked = protocol.empty() ? nullptr : protocol.c_str();
    while (getservbyname_r(name.c_str(), asked, &entry, storage.data(), storage.size(), &found) == ERANGE) {
        if (storage.size() >= LargestAnswer) return std::nullopt;
        storage.resize(storage.size() * 2);
    }
    if (found == nullptr) return std::nullopt;
    ServiceName service{.name = entry.s_name,
                        .port = ntohs(static_cast<std::uint16_t>(entry.s_port)),
                        .protocol = entry.s_proto,
                        .aliases = {}};
    for (char** alias = entry.s_aliases; alias != nullptr && *alias != nullptr; ++alias)
        service.aliases.emplace_back(*alias);
    return service;
}

}  // namespace

std::optional<ServiceName> ParseServiceLine(std::string_view line) {
    line = line.substr(0, line.find('#'));
    ServiceName service;
    service.name = NextWord(line);
    const std::string_view number = NextWord(line);
    const auto slash = number.find('/');
    if (service.name.empty() || slash == std::string_view::npos || slash + 1 == number.size())
        return std::nullopt;

    const char* portEnd = number.data() + slash;
    const auto [end, error] = std::from_chars(number.data(), portEnd, service.port);
    if (error != std::errc{} || end != portEnd) return std::nullopt;
    service.protocol = number.substr(slash + 1);
    for (auto alias = NextWord(line); !alias.empty(); alias = NextWord(line))
        service.aliases.emplace_back(alias);
    return service;
}

std::optional<ServiceName> FindServiceName(std::istream& lines, std::string_view name,
                                           std::string_view protocol) {
    for (std::string line; std::getline(lines, line);) {
        auto service = ParseServiceLine(line);
        if (!service || (!protocol.empty() && service->protocol != protocol)) continue;
        if (service->name == name || std::ranges::find(service->aliases, name) != service->aliases.end())
            return service;
    }
    return std::nullopt;
}

std::optional<ServiceName> LookUpServiceName(const std::string& name, const std::string& protocol) {
    FileText file;
    const DWORD error = ReadWholeFile(PathOf(HomePlace::Services), file);
    if (error == ERROR_NOT_ENOUGH_MEMORY) throw std::bad_alloc();  // not the same as no such file
    if (error == ERROR_SUCCESS) {
        std::istringstream lines{std::string(file.View())};
        lines.exceptions(std::ios::badbit);  // else a lack of memory would look like the end of the file
        if (auto service = FindServiceName(lines, name, protocol)) return service;
    }
    return AskSystem(name, protocol);
}
