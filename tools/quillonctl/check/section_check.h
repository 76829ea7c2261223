// The keys of one section, client or template, line by line.
#pragma once

#include "database/option_catalogue.h"
#include "quillonctl/check/bootptab_lines.h"
#include "quillonctl/check/finding.h"

namespace quillonctl {

inline constexpr char TemplateKey[] = "Template";
inline constexpr char TemplatePrefix[] = "Template:";

class SectionCheck {
  public:
    SectionCheck(const BootptabLines& file, const OptionDefinition* catalogue, Findings* findings);

    void CheckKeys(const CheckedSection& section, bool isTemplate) const;

    // The row of the key; null for one that the catalogue doesn't have.
    const OptionDefinition* RowOf(std::string_view key) const;

  private:
    void CheckUnknownKey(const CheckedKey& key, bool isTemplate) const;
    void CheckTemplateName(const CheckedKey& key) const;
    void Report(Severity severity, const CheckedKey& key, const std::string& text) const;

    const BootptabLines& file_;
    Findings* findings_;
    std::unordered_map<std::string, const OptionDefinition*> rows_;
    std::vector<std::string> names_;
};

}  // namespace quillonctl
