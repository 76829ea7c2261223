#include "quillonctl/check/section_check.h"

#include "database/load/name_list.h"
#include "quillonctl/check/value_check.h"
#include "quillonctl/text/nearest_name.h"

namespace quillonctl {

SectionCheck::SectionCheck(const BootptabLines& file, const OptionDefinition* catalogue, Findings* findings)
    : file_(file), findings_(findings) {
    for (const OptionDefinition* row = catalogue; row->name[0] != '\0'; ++row) {
        rows_.try_emplace(FoldedName(row->name), row);
        names_.emplace_back(row->name);
    }
}

const OptionDefinition* SectionCheck::RowOf(std::string_view key) const {
    const auto found = rows_.find(FoldedName(key));
    return found == rows_.end() ? nullptr : found->second;
}

void SectionCheck::Report(Severity severity, const CheckedKey& key, const std::string& text) const {
    findings_->Add(severity, file_.Path(), key.line, std::string(key.name) + ": " + text);
}

void SectionCheck::CheckUnknownKey(const CheckedKey& key, bool isTemplate) const {
    const bool namesTemplate = FoldedName(key.name) == FoldedName(TemplateKey);
    if (namesTemplate && isTemplate)
        Report(Severity::Warning, key, "a template has no template of its own; this means nothing");
    else if (!namesTemplate)
        Report(Severity::Warning, key,
               "[Options] has no such key, it is ignored" + DidYouMean(key.name, names_));
}

void SectionCheck::CheckTemplateName(const CheckedKey& key) const {
    if (key.value.empty() || file_.Find(TemplatePrefix + std::string(key.value)) != nullptr) return;
    std::vector<std::string> templates;
    for (const CheckedSection& section : file_.Sections())
        if (section.name.starts_with(TemplatePrefix))
            templates.emplace_back(section.name.substr(sizeof TemplatePrefix - 1));
    Report(Severity::Error, key,
           "there is no section [" + (TemplatePrefix + std::string(key.value)) + "]" +
               DidYouMean(key.value, templates));
}

void SectionCheck::CheckKeys(const CheckedSection& section, bool isTemplate) const {
    std::unordered_map<std::string, int> seen;
    std::size_t bytes = 0;
    for (const CheckedKey& key : section.keys) {
        bytes += key.name.size() + 1;
        if (bytes > FirstNameListSize - 1) {
            Report(Severity::Error, key,
                   "isn't seen, nor is any key after it: the names of a section's keys take 4,095 bytes at "
                   "most");
            return;
        }
        const auto [earlier, isNew] = seen.emplace(FoldedName(key.name), key.line);
        if (!isNew) {
            Report(
                Severity::Warning, key,
                "stands in line " + std::to_string(earlier->second) + " already, whose value goes out twice");
            continue;
        }
        const OptionDefinition* row = RowOf(key.name);
        if (row == nullptr) CheckUnknownKey(key, isTemplate);
        if (!isTemplate && FoldedName(key.name) == FoldedName(TemplateKey)) CheckTemplateName(key);
        if (row == nullptr) continue;
        for (const ValueFault& fault : CheckValue(*row, key.value))
            Report(fault.severity, key, fault.text);
    }
}

}  // namespace quillonctl
