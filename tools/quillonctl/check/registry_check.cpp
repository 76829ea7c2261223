#include "quillonctl/check/registry_check.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>

#include "platform/linux/instance/home.h"
#include "platform/linux/registry/registry_text.h"
#include "quillonctl/check/bootptab_lines.h"
#include "quillonctl/text/nearest_name.h"
#include "quillonctl/text/text_pieces.h"
#include "request/address_list.h"
#include "request/interfaces.h"
#include "service/parameter_table.h"

namespace quillonctl {
namespace {

struct PlacedValue {
    RegistryValue value;
    int line;
};

// The values of one key, by name; the later of two holds.
struct PlacedKey {
    int line = 0;  // of its heading; 0 if it isn't there
    std::map<std::string, PlacedValue> values;

    const PlacedValue* Find(std::string_view name) const {
        const auto found = values.find(FoldedName(name));
        return found == values.end() ? nullptr : &found->second;
    }
};

int LinesOf(const std::string& text) {
    return 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

PlacedKey FindKey(const RegistryDocument& document, std::string_view path) {
    PlacedKey key;
    int line = 1;
    for (const RegistryLine& above : document.head)
        line += LinesOf(above.text);
    for (const RegistrySection& section : document.sections) {
        const bool isWanted = FoldedName(section.path) == FoldedName(path);
        if (isWanted) key.line = line;
        ++line;
        for (const RegistryLine& row : section.lines) {
            if (isWanted && row.value) key.values[FoldedName(row.value->name)] = {*row.value, line};
            line += LinesOf(row.text);
        }
    }
    return key;
}

bool IsText(const RegistryValue& value) {
    return value.type == REG_SZ || value.type == REG_EXPAND_SZ;
}

bool IsOfThisMachine(IpAddress address) {
    IpAddress table[MaxLocalAddresses];
    DWORD count = 0;
    if (!EnumerateLocalAddresses(&count, table)) return true;
    return std::find(table, table + count, address) != table + count;
}

class RegistryCheck {
  public:
    RegistryCheck(const RegistryDocument& document, Findings* findings)
        : file_(PathOf(HomePlace::Registry)), key_(FindKey(document, ParametersKey)), findings_(findings) {}

    void Run() {
        for (const TextParameter& row : TextParameters())
            if (CheckPresence(row.name, row.required, row.unusable, true) && row.unusable != nullptr)
                CheckAddressList(row);
        for (const NumberParameter& row : NumberParameters())
            if (CheckPresence(row.name, row.required, nullptr, false)) CheckRange(row);
        CheckLocalAddresses();
        CheckNames();
    }

  private:
    void Warn(const PlacedValue& value, const std::string& text) {
        findings_->Add(Severity::Warning, file_, value.line, value.value.name + ": " + text);
    }

    // Whether the value is there and can be used.
    bool CheckPresence(const char* name, bool required, const char* unusable, bool isText) {
        const PlacedValue* found = key_.Find(name);
        if (found == nullptr) {
            if (required)
                findings_->Refuse(file_, key_.line, "the value " + std::string(name) + " is missing");
            return false;
        }
        const bool isUsable = isText ? IsText(found->value) && found->value.data.size() <= ParameterTextSize
                                     : found->value.type == REG_DWORD;
        if (isUsable) return true;
        const std::string why = isText ? "isn't a text of at most 259 characters" : "isn't a number (dword)";
        if (required)
            findings_->Refuse(file_, found->line, std::string(name) + " " + why);
        else
            Warn(*found, why + "; it counts as " + (unusable != nullptr ? unusable : "missing"));
        return false;
    }

    void CheckAddressList(const TextParameter& row) {
        const PlacedValue& found = *key_.Find(row.name);
        const std::string list(found.value.data.c_str());
        if (list.empty()) return;
        for (const std::string& piece : Split(list, ","))
            if (!IsAddressListPiece(piece))
                Warn(found, "'" + piece + "' is neither an address nor 'local', and lets nobody in");
    }

    void CheckRange(const NumberParameter& row) {
        const PlacedValue& found = *key_.Find(row.name);
        DWORD number = 0;
        std::memcpy(&number, found.value.data.data(), sizeof number);
        const std::int64_t value = row.least < 0 ? static_cast<LONG>(number) : std::int64_t{number};
        ServerParameters record = {};
        NumberOf(&record, row) = number;
        if (std::strcmp(row.name, "CacheSize") == 0 && !IsHeapPossible(number))
            findings_->Refuse(file_, found.line,
                              "no heap is large enough for a CacheSize of " + std::to_string(number));
        if (value >= row.least && value <= row.most) return;
        const std::int64_t nearest = value < row.least ? row.least : row.most;
        Warn(found, std::to_string(value) + " is outside " + std::to_string(row.least) + " to " +
                        std::to_string(row.most) + " and counts as " +
                        std::to_string(row.outsideIsInstalled ? row.installed : nearest));
    }

    void CheckLocalAddresses() {
        const PlacedValue* found = key_.Find("LocalAddrs");
        if (found == nullptr) return;
        const std::string list(found->value.data.c_str());
        if (!IsText(found->value) || list.size() >= ParameterTextSize)
            return Warn(*found, "missing, it opens every interface");
        IpAddress addresses[MaxLocalAddresses];
        if (list.empty()) return;
        if (ParseLocalAddresses(list.c_str(), addresses) == 0)
            return Warn(*found, "no address can be read from it, so no socket is bound and the start fails");
        std::string_view rest = list;
        while (!rest.empty()) {
            const std::string piece(rest.substr(0, rest.find(',')));
            if (piece.empty()) return Warn(*found, "what stands after the empty piece isn't used");
            if (ParseLocalAddresses(piece.c_str(), addresses) == 0)
                Warn(*found, "'" + piece + "' is no address and is left out");
            else if (!IsOfThisMachine(addresses[0]))
                Warn(*found, piece + " is no address of this machine now, so the service can't listen there");
            rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
        }
    }

    void CheckNames() {
        std::vector<std::string> known;
        for (const TextParameter& row : TextParameters())
            known.emplace_back(row.name);
        for (const NumberParameter& row : NumberParameters())
            known.emplace_back(row.name);
        for (const auto& [name, value] : key_.values) {
            if (!name.empty() && std::ranges::find(known, name, FoldedName) == known.end())
                Warn(value, "no parameter has this name" + DidYouMean(value.value.name, known));
        }
    }

    const std::string file_;
    const PlacedKey key_;
    Findings* findings_;
};

std::optional<RegistryDocument> ReadDocument(Findings* findings) {
    const std::string file = PathOf(HomePlace::Registry);
    std::string error;
    const auto text = ReadWholeFile(file, error);
    if (!text) {
        findings->Refuse(file, 0, error);
        return std::nullopt;
    }
    try {
        return ParseRegistry(*text);
    } catch (const RegistryTextError& failure) {
        findings->Refuse(file, static_cast<int>(failure.Line()), failure.what());
        return std::nullopt;
    }
}

// Where a relative path of the registry leads a service, which works in its home.
std::filesystem::path FromHome(const char* path) {
    return std::filesystem::path(PathOf(HomePlace::Folder)) / NativePath(path);
}

// The files that a load opens besides bootptab. Who may read or write them isn't looked at: the service runs
// as somebody else.
void CheckFiles(const ServerParameters& record, Findings* findings) {
    std::error_code ignored;
    const auto refuse = [&](const char* name, const std::string& why) {
        const RegistryPlace place = PlaceOfParameter(name);
        findings->Refuse(place.file, place.line, std::string(name) + ": " + why);
    };
    const std::string helper = NativePath(record.HelperDLL);
    if (helper.find('/') != helper.npos && !exists(FromHome(record.HelperDLL), ignored))
        refuse("HelperDLL", "there is no file '" + helper + "'");
    const auto folder = FromHome(record.LogFile).parent_path();
    if (record.EnableLogging != 0 && record.LogFile[0] != '\0' && !is_directory(folder, ignored))
        refuse("LogFile", "there is no folder '" + folder.string() + "'");
}

bool ReadRecord(ServerParameters* record, char (&name)[ParameterTextSize]) {
    *record = {};
    const DWORD result =
        ReadRegistryParameters(HKEY_LOCAL_MACHINE, record, name, ServiceKey, ParametersKey, AgentKey);
    ApplyParameterLimits(record);
    return result == RegistryReadOk;
}

}  // namespace

bool IsHeapPossible(DWORD cacheSize) {
    return ClientHeapSize(cacheSize) < 0x80000000u;
}

bool CheckRegistry(ServerParameters* record, Findings* findings) {
    const auto document = ReadDocument(findings);
    if (!document) return false;
    RegistryCheck(*document, findings).Run();
    char name[ParameterTextSize] = {};
    const bool isRead = ReadRecord(record, name);
    if (!isRead && !findings->Refuses())
        findings->Refuse(PathOf(HomePlace::Registry), 0,
                         *name != '\0' ? "the value " + std::string(name) + " can't be read"
                                       : "the service's key or its Parameters are missing");
    if (isRead) CheckFiles(*record, findings);
    return isRead && !findings->Refuses();
}

ServerParameters SettingsOrInstalled() {
    ServerParameters record;
    char name[ParameterTextSize];
    if (ReadRecord(&record, name)) return record;
    record = {};
    SetDefaultParameters(&record);
    return record;
}

RegistryPlace PlaceOfParameter(const char* name) {
    Findings ignored;
    const auto document = ReadDocument(&ignored);
    const PlacedKey key = document ? FindKey(*document, ParametersKey) : PlacedKey{};
    const PlacedValue* value = key.Find(name);
    return {PathOf(HomePlace::Registry), value != nullptr ? value->line : key.line};
}

}  // namespace quillonctl
