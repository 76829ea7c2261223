#include <gmock/gmock.h>

#include <fstream>
#include <regex>

#include "service/parameter_table.h"

namespace {

using testing::HasSubstr;

// What the manual page says in parentheses of each parameter, by name.
std::map<std::string, std::string> PageEntries() {
    std::map<std::string, std::string> entries;
    std::ifstream page(REGISTRY_PAGE);
    const std::regex entry(R"(\.It Va (\w+) Pq (.*))");
    for (std::string line; std::getline(page, line);)
        if (std::smatch parts; std::regex_match(line, parts, entry)) entries[parts[1]] = parts[2];
    return entries;
}

std::string Presence(const NumberParameter& row) {
    return row.required ? "required" : std::to_string(row.fallback) + " if missing";
}

std::string Limits(const NumberParameter& row) {
    if (row.outsideIsInstalled || row.most == 0xFFFFFFFF) return "";
    if (row.least > 0) return ", from " + std::to_string(row.least) + " to " + std::to_string(row.most);
    return ", at most " + std::to_string(row.most);
}

TEST(RegistryPage, SaysWhatTheTableHas) {
    std::map<std::string, std::string> entries = PageEntries();
    for (const NumberParameter& row : NumberParameters()) {
        std::string expected = Presence(row);
        if (row.installPlace != NotInstalled) expected += ", default " + std::to_string(row.installed);
        EXPECT_THAT(entries[row.name], HasSubstr(expected + Limits(row))) << row.name;
        entries.erase(row.name);
    }
    for (const TextParameter& row : TextParameters()) {
        const std::string installed =
            std::regex_replace(row.installed == nullptr ? "" : row.installed, std::regex(R"(\\)"), "\\e");
        EXPECT_THAT(entries[row.name],
                    HasSubstr(row.required ? "required, default " + installed : "may be missing"))
            << row.name;
        entries.erase(row.name);
    }
    for (const auto& [name, text] : entries)
        ADD_FAILURE() << "the page has " << name << ", the table hasn't";
}

}  // namespace
