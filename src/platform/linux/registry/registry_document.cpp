#include "platform/linux/registry/registry_document.h"

#include <algorithm>
#include <utility>

#include "platform/linux/registry/registry_text.h"
#include "platform/linux/system/ascii_case.h"

namespace {

bool IsBelow(std::string_view path, std::string_view key) {
    if (key.empty()) return !path.empty();
    return path.size() > key.size() + 1 && path[key.size()] == '\\' &&
           EqualWithoutCase(path.substr(0, key.size()), key);
}

bool IsBlankLine(const RegistryLine& line) {
    return line.text.find_first_not_of(" \t\r\n") == std::string::npos;
}

bool IsValue(const RegistryLine& line, std::string_view name) {
    return line.value && EqualWithoutCase(line.value->name, name);
}

// The line of the value that holds; null if there is none.
template <class Sections>
auto FindLineIn(Sections& sections, std::string_view path, std::string_view name)
    -> decltype(&sections[0].lines[0]) {
    for (auto section = sections.rbegin(); section != sections.rend(); ++section) {
        if (!EqualWithoutCase(section->path, path)) continue;
        const auto line = std::find_if(section->lines.rbegin(), section->lines.rend(),
                                       [name](const RegistryLine& l) { return IsValue(l, name); });
        if (line != section->lines.rend()) return &*line;
    }
    return nullptr;
}

}  // namespace

RegistryDocument::RegistryDocument() : head{{std::string(RegistryFirstLine) + "\n", {}}} {}

bool RegistryDocument::HasKey(std::string_view path) const {
    if (path.empty()) return true;
    return std::any_of(sections.begin(), sections.end(), [path](const RegistrySection& section) {
        return EqualWithoutCase(section.path, path) || IsBelow(section.path, path);
    });
}

bool RegistryDocument::HasSubkeys(std::string_view path) const {
    return std::any_of(sections.begin(), sections.end(),
                       [path](const RegistrySection& section) { return IsBelow(section.path, path); });
}

const RegistryValue* RegistryDocument::FindValue(std::string_view path, std::string_view name) const {
    const RegistryLine* line = FindLineIn(sections, path, name);
    return line != nullptr ? &*line->value : nullptr;
}

RegistrySection* RegistryDocument::FindSection(std::string_view path) {
    const auto found = std::find_if(sections.rbegin(), sections.rend(), [path](const RegistrySection& s) {
        return EqualWithoutCase(s.path, path);
    });
    return found != sections.rend() ? &*found : nullptr;
}

bool RegistryDocument::CreateKey(std::string_view path) {
    if (path.empty() || FindSection(path) != nullptr) return false;
    AddSection(path);
    return true;
}

RegistrySection& RegistryDocument::AddSection(std::string_view path) {
    std::vector<RegistryLine>& before = sections.empty() ? head : sections.back().lines;
    if (!IsBlankLine(before.back())) before.push_back({Ended(""), {}});
    return sections.emplace_back(RegistrySection{std::string(path), {{Ended(RegistryHeading(path)), {}}}});
}

bool RegistryDocument::SetValue(std::string_view path, RegistryValue value) {
    if (RegistryLine* line = FindLineIn(sections, path, value.name); line != nullptr) {
        if (line->value->type == value.type && line->value->data == value.data) return false;
        value.name = line->value->name;
        *line = {Ended(RegistryValueText(value)), std::move(value)};
        return true;
    }
    std::string text = Ended(RegistryValueText(value));
    RegistrySection* const found = FindSection(path);
    RegistrySection& section = found != nullptr ? *found : AddSection(path);
    // Ahead of the empty lines that set the next key apart.
    auto place = section.lines.end();
    while (std::prev(place) != section.lines.begin() && IsBlankLine(*std::prev(place)))
        --place;
    section.lines.insert(place, {std::move(text), std::move(value)});
    return true;
}

bool RegistryDocument::RemoveValue(std::string_view path, std::string_view name) {
    std::size_t removed = 0;
    for (RegistrySection& section : sections) {
        if (!EqualWithoutCase(section.path, path)) continue;
        removed +=
            std::erase_if(section.lines, [name](const RegistryLine& line) { return IsValue(line, name); });
    }
    return removed > 0;
}

bool RegistryDocument::RemoveKey(std::string_view path) {
    return std::erase_if(sections, [path](const RegistrySection& section) {
               return EqualWithoutCase(section.path, path);
           }) > 0;
}
