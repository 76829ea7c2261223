#include "platform/linux/ini/parsed_ini.h"

#include <atomic>
#include <limits>
#include <utility>

#include "platform/linux/ini/ini_text.h"
#include "platform/linux/system/ascii_case.h"

namespace {

constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

// Reading a smaller section line by line costs less than a look into an index.
constexpr std::size_t SmallSection = 2048;

std::size_t CountKeys(std::string_view body) {
    std::size_t count = 0;
    while (!body.empty())
        count += ParseKey(TakeLine(body)).has_value();
    return count;
}

std::optional<std::string_view> FindByReading(std::string_view body, std::string_view name) {
    while (!body.empty()) {
        const std::optional<IniKey> key = ParseKey(TakeLine(body));
        if (key && EqualWithoutCase(key->name, name)) return key->value;
    }
    return std::nullopt;
}

}  // namespace

SectionKeys::SectionKeys(std::string_view body) : body_(body), index_(CountKeys(body)) {
    for (std::string_view rest = body; !rest.empty();) {
        const auto offset = static_cast<std::uint32_t>(body.size() - rest.size());
        const std::optional<IniKey> key = ParseKey(TakeLine(rest));
        if (!key) continue;
        index_.AddIfNew(HashWithoutCase(key->name), offset,
                        [&](std::uint32_t other) { return EqualWithoutCase(KeyAt(other)->name, key->name); });
    }
}

std::optional<IniKey> SectionKeys::KeyAt(std::uint32_t offset) const {
    std::string_view rest = body_.substr(offset);
    return ParseKey(TakeLine(rest));
}

std::optional<std::string_view> SectionKeys::FindValue(std::string_view name) const {
    const std::uint32_t offset = index_.Find(HashWithoutCase(name), [&](std::uint32_t other) {
        return EqualWithoutCase(KeyAt(other)->name, name);
    });
    if (offset == NameIndex::None) return std::nullopt;
    return KeyAt(offset)->value;
}

ParsedIni::ParsedIni(FileText bytes) : text_(IniText(std::move(bytes))) {
    FindSections();
    IndexSections();
}

std::uint64_t ParsedIni::NextNumber() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

std::string_view ParsedIni::Name(const Section& section) const {
    return Text().substr(section.nameBegin, section.nameEnd - section.nameBegin);
}

void ParsedIni::FindSections() {
    const std::string_view text = Text();
    std::string_view rest = text;
    if (rest.starts_with(ByteOrderMark)) rest.remove_prefix(ByteOrderMark.size());
    while (!rest.empty()) {
        const std::size_t lineBegin = text.size() - rest.size();
        const std::optional<std::string_view> name = HeadingName(TakeLine(rest));
        if (!name) continue;
        if (!sections_.empty()) sections_.back().bodyEnd = lineBegin;
        const auto nameBegin = static_cast<std::size_t>(name->data() - text.data());
        sections_.push_back({nameBegin, nameBegin + name->size(), text.size() - rest.size(), text.size()});
    }
    sections_.shrink_to_fit();
}

void ParsedIni::IndexSections() {
    index_ = NameIndex(sections_.size());
    for (std::uint32_t i = 0; i < sections_.size(); ++i) {
        const std::string_view name = Name(sections_[i]);
        if (name.empty()) continue;
        index_.AddIfNew(HashWithoutCase(name), i,
                        [&](std::uint32_t other) { return EqualWithoutCase(Name(sections_[other]), name); });
    }
}

ParsedIni::Body ParsedIni::FindBody(std::string_view section) const {
    const std::uint32_t found = index_.Find(HashWithoutCase(section), [&](std::uint32_t other) {
        // In a large file none of it is in a cache: the body comes from memory together with the name.
        const Section& candidate = sections_[other];
        __builtin_prefetch(text_.bytes.get() + candidate.bodyBegin);
        __builtin_prefetch(text_.bytes.get() + candidate.bodyEnd);
        return EqualWithoutCase(Name(candidate), section);
    });
    if (found == NameIndex::None) return {found, {}};
    const Section& place = sections_[found];
    return {found, Text().substr(place.bodyBegin, place.bodyEnd - place.bodyBegin)};
}

std::optional<std::string_view> ParsedIni::FindValue(std::string_view section, std::string_view key) const {
    const Body body = FindBody(section);
    // The index counts offsets in 32 bits.
    if (body.body.size() <= SmallSection ||
        body.body.size() > std::numeric_limits<std::uint32_t>::max() - 1) {
        return FindByReading(body.body, key);
    }
    return KeysOf(body)->FindValue(key);
}

bool ParsedIni::ListKeys(std::string_view section, std::vector<IniKey>& keys) const {
    std::string_view rest = FindBody(section).body;
    if (rest.size() > SmallSection) return false;
    keys.clear();
    while (!rest.empty()) {
        if (const std::optional<IniKey> key = ParseKey(TakeLine(rest))) keys.push_back(*key);
    }
    return true;
}

std::shared_ptr<const SectionKeys> ParsedIni::KeysOf(const Body& body) const {
    const std::lock_guard lock(indexedMutex_);
    for (const IndexedSection& indexed : indexed_) {
        if (indexed.section == body.section) return indexed.keys;
    }
    auto keys = std::make_shared<const SectionKeys>(body.body);
    indexed_[nextIndexed_] = {body.section, keys};
    nextIndexed_ = (nextIndexed_ + 1) % indexed_.size();
    return keys;
}
