#include "quillonctl/edit/bootptab_check.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

#include "quillonctl/edit/bootptab_text.h"
#include "quillonctl/text/nearest_name.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::size_t kLongestValue = 1023;
constexpr std::size_t kLongestOption = 255;
constexpr std::size_t kLongestBootFile = 127;
constexpr std::string_view kTemplatePrefix = "Template:";
constexpr int kBootFile = -1;
constexpr int kAddress = -2;
constexpr int kHardwareType = -4;
constexpr int kCookie = -6;
constexpr int kLastFlag = -10;
constexpr int kFirstFlag = -7;

struct TypeWidth {
    const char* word;
    std::size_t bytes;
};
constexpr std::array kTypes = {
    TypeWidth{"byte", 1},  TypeWidth{"ipaddress", 4},     TypeWidth{"string", 0},     TypeWidth{"int", 4},
    TypeWidth{"word", 2},  TypeWidth{"time", 4},          TypeWidth{"multi-byte", 1}, TypeWidth{"bool", 1},
    TypeWidth{"haddr", 0}, TypeWidth{"ipaddressarray", 4}};

bool IsAddressType(const std::string& type) {
    return type == "ipaddress" || type == "ipaddressarray";
}

// Decimal digits with or without a sign, in 32 bits.
bool IsNumber(const std::string& item) {
    long long number = 0;
    const char* end = item.data() + item.size();
    const auto [behind, error] = std::from_chars(item.data(), end, number);
    return error == std::errc() && behind == end && number >= -2147483648LL && number <= 4294967295LL;
}

bool IsTime(const std::string& item) {
    if (SameText(item, "infinite")) return true;
    const std::vector<std::string> parts = Split(item, ":");
    return parts.size() == 3 &&
           std::ranges::all_of(parts, [](const std::string& part) { return ParseNumber(part).has_value(); });
}

// Why the value can't be what the row says; empty if it can.
std::string ValueFault(const OptionName& row, const std::string& value) {
    if (value.size() > kLongestValue) return "is longer than 1023 characters";
    if (row.tag == kBootFile && value.size() > kLongestBootFile) return "is longer than 127 characters";
    const bool isFlag = row.tag <= kFirstFlag && row.tag >= kLastFlag;
    if (row.tag == kAddress || row.tag == kCookie) return AddressNumber(value) ? "" : "is no address";
    if (row.tag == kHardwareType || isFlag) return IsNumber(value) ? "" : "is no number";
    if (row.tag < 0) return "";
    if (row.type == "string") return value.size() > kLongestOption ? "is longer than 255 characters" : "";
    const auto* type =
        std::ranges::find_if(kTypes, [&](const TypeWidth& known) { return row.type == known.word; });
    std::vector<std::string> items;
    // A blank belongs to its item, and makes it none.
    for (std::size_t begin = 0; begin <= value.size();) {
        const std::size_t end = std::min(value.find(',', begin), value.size());
        items.push_back(value.substr(begin, end - begin));
        begin = end + 1;
    }
    for (const std::string& item : items) {
        if (IsAddressType(row.type) && !AddressNumber(item)) return "has '" + item + "', which is no address";
        if (row.type == "time" && !IsTime(item))
            return "has '" + item + "', which is no time (hours:minutes:seconds)";
        if (!IsAddressType(row.type) && row.type != "time" && !IsNumber(item))
            return "has '" + item + "', which is no number";
    }
    const std::size_t width = type != kTypes.end() ? type->bytes : 1;
    return items.size() * width > kLongestOption ? "is a list of more than 255 bytes" : "";
}

class Checker {
  public:
    explicit Checker(const std::string& text)
        : file_(text), sections_(file_.Sections()), options_(file_.Options()) {}

    std::vector<CheckFinding> Run() {
        for (const OptionName& row : options_) {
            optionNames_.push_back(row.name);
            optionByName_.try_emplace(Lower(row.name), &row);
        }
        for (const SectionLines& section : sections_) {
            if (!section.name.starts_with(kTemplatePrefix)) continue;
            templates_.push_back(section.name.substr(kTemplatePrefix.size()));
            templateKeys_.try_emplace(Lower(templates_.back()), file_.Keys(section));
        }
        for (const SectionLines& section : sections_)
            CheckSection(section);
        CheckOptions();
        std::ranges::stable_sort(findings_, {}, &CheckFinding::line);
        return std::move(findings_);
    }

  private:
    void Report(std::size_t line, const SectionLines& section, std::string text, std::size_t other = 0) {
        findings_.push_back({line + 1, section.name, std::move(text), other});
    }

    void CheckSection(const SectionLines& section) {
        const auto [first, isNew] = lineBySection_.try_emplace(Lower(section.name), section.heading);
        if (!isNew)
            return Report(section.heading, section, "is there twice; only the first one counts",
                          first->second + 1);
        if (section.name.starts_with(kTemplatePrefix)) return CheckKeys(section);
        if (!IsClient(section.name)) return;
        if (section.name.find('-') == std::string::npos)
            return Report(section.heading, section,
                          "is no section that is known here; the file can't be loaded");
        const auto name = SectionNameOf(section.name);
        if (!name || !SameText(*name, section.name))
            return Report(section.heading, section,
                          "is no hardware address of two digits for each byte, with hyphens");
        CheckKeys(section);
        CheckClient(section);
    }

    const OptionName* FindOption(const std::string& key) const {
        const auto row = optionByName_.find(Lower(key));
        return row != optionByName_.end() ? row->second : nullptr;
    }

    void CheckKeys(const SectionLines& section) {
        std::map<std::string, std::size_t> lines;
        for (const KeyLine& key : file_.Keys(section)) {
            const auto [first, isNew] = lines.try_emplace(Lower(key.name), key.line);
            const OptionName* row = FindOption(key.name);
            if (!isNew)
                Report(key.line, section,
                       "key '" + key.name + "' is there twice; only the first value counts",
                       first->second + 1);
            else if (row == nullptr && !SameText(key.name, "Template"))
                Report(key.line, section,
                       "key '" + key.name + "' isn't in [Options]" + DidYouMean(key.name, optionNames_));
            else if (row != nullptr)
                if (const std::string fault = ValueFault(*row, key.value); !fault.empty())
                    Report(key.line, section, key.name + " = " + key.value + " " + fault);
        }
    }

    void CheckClient(const SectionLines& section) {
        const std::vector<KeyLine> keys = file_.Keys(section);
        if (keys.empty()) return Report(section.heading, section, "has no keys, and gets no reply");
        std::vector<KeyLine> all = keys;
        for (const KeyLine& key : keys) {
            if (!SameText(key.name, "Template")) continue;
            const auto shared = templateKeys_.find(Lower(key.value));
            if (shared == templateKeys_.end())
                Report(key.line, section,
                       "template '" + key.value + "' isn't there" + DidYouMean(key.value, templates_));
            else
                all.insert(all.end(), shared->second.begin(), shared->second.end());
        }
        const auto address = std::ranges::find_if(all, [&](const KeyLine& key) {
            const OptionName* row = FindOption(key.name);
            return row != nullptr && row->tag == kAddress;
        });
        if (address == all.end())
            return Report(section.heading, section, "has no address, and gets no reply");
        const auto [first, isNew] = lineByAddress_.try_emplace(address->value, section.heading);
        if (!isNew)
            Report(section.heading, section, "has the address " + address->value + " of another client",
                   first->second + 1);
    }

    void CheckOptions() {
        const auto section = file_.Find("Options");
        if (!section) return;
        std::vector<std::string> words;
        for (const TypeWidth& type : kTypes)
            words.emplace_back(type.word);
        for (const OptionName& row : options_) {
            if (!row.hasComma)
                Report(row.line, *section, row.name + " has no comma; the file can't be loaded");
            else if (row.tag == 0 || row.tag > 254)
                Report(row.line, *section, row.name + " has no tag that can be sent");
            else if (row.tag > 0 && std::ranges::find(words, row.type) == words.end())
                Report(row.line, *section,
                       row.name + " has the type '" + row.type + "', which isn't one" +
                           DidYouMean(row.type, words));
        }
    }

    BootptabText file_;
    std::vector<SectionLines> sections_;
    std::vector<OptionName> options_;
    std::vector<std::string> optionNames_;
    std::map<std::string, const OptionName*> optionByName_;  // in lower case
    std::vector<std::string> templates_;
    std::map<std::string, std::vector<KeyLine>> templateKeys_;
    std::map<std::string, std::size_t> lineBySection_;
    std::map<std::string, std::size_t> lineByAddress_;
    std::vector<CheckFinding> findings_;
};

}  // namespace

std::vector<CheckFinding> CheckResult(const std::string& /*path*/, const std::string& text) {
    return Checker(text).Run();
}

std::vector<CheckFinding> NewFindings(const std::vector<CheckFinding>& before,
                                      std::vector<CheckFinding> after) {
    std::map<std::pair<std::string, std::string>, int> known;
    for (const CheckFinding& finding : before)
        ++known[{Lower(finding.section), finding.text}];
    std::erase_if(after, [&](const CheckFinding& finding) {
        return known[{Lower(finding.section), finding.text}]-- > 0;
    });
    return after;
}

std::string FindingText(const std::string& path, const CheckFinding& finding) {
    std::string text =
        path + ":" + std::to_string(finding.line) + ": error: [" + finding.section + "] " + finding.text;
    if (finding.other != 0) text += " (line " + std::to_string(finding.other) + ")";
    return text;
}

}  // namespace quillonctl
