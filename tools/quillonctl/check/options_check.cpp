#include "quillonctl/check/options_check.h"

#include <limits>
#include <map>

#include "database/load/value_reading.h"
#include "database/option_catalogue.h"
#include "quillonctl/text/nearest_name.h"

namespace quillonctl {
namespace {

const std::vector<std::string> TypeWords = {"byte", "ipaddress",      "string",     "int",  "word",
                                            "time", "ipaddressarray", "multi-byte", "bool", "haddr"};

bool IsTypeWord(std::string_view word) {
    for (const std::string& known : TypeWords)
        if (FoldedName(word) == known) return true;
    return false;
}

// The word without what a reader might take for decoration: blanks around it, a remark after it.
std::string_view BareWord(std::string_view word) {
    word = word.substr(0, word.find_first_of(";#"));
    const std::size_t first = word.find_first_not_of(" \t");
    if (first == word.npos) return {};
    return word.substr(first, word.find_last_not_of(" \t") - first + 1);
}

struct OptionRow {
    const BootptabLines& file;
    const CheckedKey& key;
    Findings* findings;

    void Report(Severity severity, const std::string& text) const {
        findings->Add(severity, file.Path(), key.line, std::string(key.name) + ": " + text);
    }
    void Refuse(const std::string& why) const {
        findings->Refuse(file.Path(), key.line, std::string(key.name) + ": " + why);
    }
};

void CheckTypeWord(const OptionRow& row, std::string_view word) {
    if (IsTypeWord(word)) return;
    const std::string_view bare = BareWord(word);
    if (IsTypeWord(bare))
        row.Report(Severity::Error, "a blank or a remark beside the type word '" + std::string(bare) +
                                        "' makes the option a byte");
    else
        row.Report(Severity::Error, "'" + std::string(word) +
                                        "' is no type word and makes the option a byte" +
                                        DidYouMean(bare, TypeWords));
}

void CheckTag(const OptionRow& row, std::string_view text) {
    const auto tag = ReadDecimal(std::string(text).c_str());
    const std::string_view bare = BareWord(text);
    if (!tag || *tag > std::numeric_limits<LONG>::max())
        row.Refuse("the tag '" + std::string(text) + "' is beyond 32 bits");
    else if (std::to_string(*tag) != bare && "+" + std::to_string(*tag) != bare)
        row.Report(Severity::Warning,
                   "the tag '" + std::string(text) + "' is read as " + std::to_string(*tag));
    else if (*tag == 0 || *tag == 255)
        row.Report(Severity::Warning,
                   *tag == 0 ? "tag 0 is a pad on the wire" : "tag 255 ends the options of a reply");
    else if (*tag > 255)
        row.Report(Severity::Warning,
                   "tag " + std::to_string(*tag) + " goes out as " + std::to_string(*tag % 256));
}

void CheckRow(const OptionRow& row) {
    const std::size_t comma = row.key.value.find(',');
    if (row.key.name.size() >= OptionNameSize) row.Refuse("a name has at most 259 characters");
    if (comma == row.key.value.npos) return row.Refuse("a comma belongs between tag and type word");
    CheckTag(row, row.key.value.substr(0, comma));
    CheckTypeWord(row, row.key.value.substr(comma + 1));
}

}  // namespace

void CheckOptionsSection(const BootptabLines& file, Findings* findings) {
    const CheckedSection* section = file.Find("Options");
    if (section == nullptr) {
        findings->Add(Severity::Warning, file.Path(), 0,
                      "there is no section [Options]: no key means anything");
        return;
    }
    std::map<std::string, int> seen;
    for (const CheckedKey& key : section->keys) {
        const OptionRow row = {file, key, findings};
        const auto [known, isNew] = seen.emplace(FoldedName(key.name), key.line);
        if (isNew)
            CheckRow(row);
        else
            row.Report(Severity::Warning,
                       "stands in line " + std::to_string(known->second) + " already, which holds");
    }
}

}  // namespace quillonctl
