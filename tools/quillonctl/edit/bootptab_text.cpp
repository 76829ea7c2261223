#include "quillonctl/edit/bootptab_text.h"

#include <algorithm>
#include <cstdlib>

#include "platform/linux/ini/ini_line.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::string_view Blanks = " \t\r";  // as they stand around the parts of a line

bool IsBlankLine(std::string_view line) {
    return TrimBlanks(line).empty();
}

}  // namespace

bool IsClient(std::string_view section) {
    return !section.empty() && !section.starts_with("Template:") && !section.starts_with("File Aliases") &&
           !section.starts_with("Options");
}

BootptabText::BootptabText(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const bool isLast = end == std::string_view::npos;
        std::string_view line = text.substr(0, end);
        text.remove_prefix(isLast ? text.size() : end + 1);
        const bool hasReturn = !isLast && line.ends_with('\r');
        if (hasReturn) line.remove_suffix(1);
        lines_.push_back({std::string(line), isLast ? "" : hasReturn ? "\r\n" : "\n"});
    }
}

std::string BootptabText::Text() const {
    std::string text;
    for (const Line& line : lines_)
        text += line.text + line.ending;
    return text;
}

std::vector<SectionLines> BootptabText::Sections() const {
    std::vector<SectionLines> sections;
    for (std::size_t at = 0; at < lines_.size(); ++at) {
        const auto name = HeadingName(lines_[at].text);
        if (!name) continue;
        if (!sections.empty()) sections.back().end = at;
        sections.push_back({std::string(*name), at, lines_.size()});
    }
    return sections;
}

std::optional<SectionLines> BootptabText::Find(std::string_view section) const {
    const std::vector<SectionLines> sections = Sections();
    const auto found =
        std::ranges::find_if(sections, [&](const SectionLines& row) { return SameText(row.name, section); });
    return found != sections.end() ? std::optional(*found) : std::nullopt;
}

std::vector<OptionName> BootptabText::Options() const {
    std::vector<OptionName> options;
    const auto section = Find("Options");
    if (!section) return options;
    for (const KeyLine& key : Keys(*section)) {
        const std::size_t comma = key.value.find(',');
        OptionName& row = options.emplace_back();
        row.name = key.name;
        row.tag = std::atoi(key.value.substr(0, comma).c_str());
        row.hasComma = comma != std::string::npos;
        if (row.hasComma) row.type = Lower(std::string_view(key.value).substr(comma + 1));
        row.line = key.line;
    }
    return options;
}

std::vector<KeyLine> BootptabText::Keys(const SectionLines& section) const {
    std::vector<KeyLine> keys;
    for (std::size_t at = section.heading + 1; at < section.end; ++at)
        if (const auto key = ParseKey(lines_[at].text))
            keys.push_back({std::string(key->name), std::string(key->value), at});
    return keys;
}

// The line after the last key, or after the heading.
std::size_t BootptabText::Body(const SectionLines& section) const {
    const std::vector<KeyLine> keys = Keys(section);
    return (keys.empty() ? section.heading : keys.back().line) + 1;
}

BootptabText::KeyStyle BootptabText::StyleOf(const SectionLines& section) const {
    KeyStyle style;
    const std::vector<KeyLine> keys = Keys(section);
    std::size_t shortest = std::string::npos;
    for (const KeyLine& key : keys) {
        const std::string& text = lines_[key.line].text;
        const std::size_t equals = text.find('=');
        const std::size_t indent = text.find_first_not_of(Blanks);
        style.indent = text.substr(0, indent);
        style.hasBlankBefore = Blanks.find(text[equals - 1]) != std::string_view::npos;
        style.hasBlankBehind =
            equals + 1 >= text.size() || Blanks.find(text[equals + 1]) != std::string_view::npos;
        const bool isFirst = &key == keys.data();
        style.column = isFirst || style.column == equals ? equals : 0;
        shortest = std::min(shortest, indent + key.name.size());
    }
    // One key alone shows no column, and names of one length don't either.
    if (keys.size() < 2 || style.column <= shortest + 1) style.column = 0;
    return style;
}

std::string BootptabText::WriteKey(const KeyValue& key, const KeyStyle& style) {
    std::string text = style.indent + key.first;
    if (text.size() < style.column)
        text.resize(style.column, ' ');
    else if (style.hasBlankBefore)
        text += ' ';
    return text + (style.hasBlankBehind ? "= " : "=") + IniValue(key.second);
}

// The lines take the ending of the one before them, the first of the file that of the next.
void BootptabText::Insert(std::size_t at, const std::vector<std::string>& texts) {
    std::string ending = "\n";
    if (!lines_.empty()) ending = lines_[at > 0 ? at - 1 : 0].ending;
    if (ending.empty()) {
        ending = lines_.size() > 1 ? lines_.front().ending : "\n";
        lines_[at - 1].ending = ending;
    }
    std::vector<Line> lines;
    for (const std::string& text : texts)
        lines.push_back({text, ending});
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), lines.begin(), lines.end());
}

void BootptabText::Put(const SectionLines& section, const KeyValue& key) {
    for (const KeyLine& known : Keys(section)) {
        if (!SameText(known.name, key.first)) continue;
        if (known.value == key.second) return;
        std::string& text = lines_[known.line].text;
        std::size_t value = text.find('=') + 1;
        while (value < text.size() && Blanks.find(text[value]) != std::string_view::npos)
            ++value;
        text = text.substr(0, value) + IniValue(key.second);
        return;
    }
    Insert(Body(section), {WriteKey(key, StyleOf(section))});
}

bool BootptabText::Remove(const SectionLines& section, std::string_view key) {
    for (const KeyLine& known : Keys(section)) {
        if (!SameText(known.name, key)) continue;
        lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(known.line));
        return true;
    }
    return false;
}

void BootptabText::AddClient(std::string_view name, const std::vector<KeyValue>& keys) {
    std::optional<SectionLines> last;
    for (const SectionLines& section : Sections())
        if (IsClient(section.name)) last = section;
    const std::size_t at = last ? Body(*last) : lines_.size();
    const KeyStyle style = last ? StyleOf(*last) : KeyStyle();
    std::vector<std::string> texts;
    if (at > 0 && !IsBlankLine(lines_[at - 1].text)) texts.emplace_back();
    texts.push_back("[" + std::string(name) + "]");
    for (const KeyValue& key : keys)
        texts.push_back(WriteKey(key, style));
    if (at < lines_.size() && !IsBlankLine(lines_[at].text)) texts.emplace_back();
    Insert(at, texts);
}

std::optional<std::size_t> BootptabText::RemoveSection(const SectionLines& section) {
    std::size_t begin = section.heading;
    const std::size_t end = Body(section);
    const bool isAtEnd = end >= lines_.size() || IsBlankLine(lines_[end].text);
    const bool hasComment = begin > 0 && TrimBlanks(lines_[begin - 1].text).starts_with(';');
    // Of the blank lines on both sides one is enough.
    if (begin > 0 && isAtEnd && IsBlankLine(lines_[begin - 1].text)) --begin;
    const auto first = lines_.begin();
    lines_.erase(first + static_cast<std::ptrdiff_t>(begin), first + static_cast<std::ptrdiff_t>(end));
    return hasComment ? std::optional(section.heading) : std::nullopt;
}

}  // namespace quillonctl
