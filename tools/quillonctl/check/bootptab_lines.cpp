#include "quillonctl/check/bootptab_lines.h"

#include "platform/linux/events/system_text.h"
#include "platform/linux/ini/ini_cache.h"
#include "platform/windows_api.h"

namespace quillonctl {

std::string FoldedName(std::string_view name) {
    std::string folded(name);
    for (char& letter : folded)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return folded;
}

const CheckedKey* CheckedSection::Find(std::string_view key) const {
    const std::string wanted = FoldedName(key);
    for (const CheckedKey& candidate : keys)
        if (candidate.name.size() == key.size() && FoldedName(candidate.name) == wanted) return &candidate;
    return nullptr;
}

std::optional<BootptabLines> BootptabLines::Read(const std::string& path, std::string& error) {
    BootptabLines lines;
    lines.path_ = path;
    lines.content_ = OpenIni(path.c_str());
    if (lines.content_ == nullptr) {
        error = SystemText(GetLastError());
        return std::nullopt;
    }
    lines.TakeApart(lines.content_->Text());
    return lines;
}

void BootptabLines::TakeApart(std::string_view text) {
    for (int line = 1; !text.empty(); ++line) {
        const std::string_view content = TakeLine(text);
        if (const auto name = HeadingName(content)) {
            firstByName_.try_emplace(FoldedName(*name), sections_.size());
            sections_.push_back({*name, line, {}});
        } else if (const auto key = ParseKey(content); key && !sections_.empty()) {
            sections_.back().keys.push_back({key->name, key->value, line});
        }
    }
}

const CheckedSection* BootptabLines::Find(std::string_view name) const {
    const auto found = firstByName_.find(FoldedName(name));
    return found == firstByName_.end() ? nullptr : &sections_[found->second];
}

}  // namespace quillonctl
