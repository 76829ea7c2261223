// The way between the registry and a record.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "diagnostics/event_report.h"
#include "diagnostics/messages.h"
#include "service/parameter_table.h"
#include "service/server_parameters.h"

namespace {

class OpenKey {
  public:
    OpenKey(HKEY root, const char* path) : open_(RegOpenKeyA(root, path, &key_) == 0) {}
    ~OpenKey() {
        if (open_) RegCloseKey(key_);
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;

    explicit operator bool() const { return open_; }
    HKEY get() const { return key_; }

  private:
    HKEY key_ = nullptr;
    bool open_;
};

DWORD MissingKeyResult(HKEY root) {
    return root == HKEY_LOCAL_MACHINE ? RegistryServiceKeyMissing : RegistryKeyMissingElsewhere;
}

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

// Without memory a value can't be told from one that is missing: the last error says which it is.
bool LacksMemory() {
    return GetLastError() == ERROR_NOT_ENOUGH_MEMORY;
}

// Returns the error and leaves it as the last one.
DWORD Query(HKEY key, const char* name, DWORD* type, void* value, DWORD* size) {
    const LONG error = RegQueryValueExA(key, name, nullptr, type, static_cast<BYTE*>(value), size);
    SetLastError(static_cast<DWORD>(error));
    return static_cast<DWORD>(error);
}

// Only Done changes the caller's text or number.
enum class Reading {
    Done,
    Missing,
    Unusable,  // of another type, or too long
};

// `text` has ParameterTextSize bytes.
Reading ReadText(HKEY key, const char* name, char* text) {
    char value[ParameterTextSize + 1] = {};  // a stored text needn't end in a NUL
    DWORD type = REG_NONE;
    DWORD size = ParameterTextSize;
    const DWORD error = Query(key, name, &type, value, &size);
    if (error == ERROR_FILE_NOT_FOUND) return Reading::Missing;
    if (error != 0 || !IsText(type) || std::strlen(value) >= ParameterTextSize) return Reading::Unusable;
    std::memcpy(text, value, ParameterTextSize);
    return Reading::Done;
}

Reading ReadNumber(HKEY key, const char* name, DWORD* number) {
    DWORD value = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof value;
    const DWORD error = Query(key, name, &type, &value, &size);
    if (error == ERROR_FILE_NOT_FOUND) return Reading::Missing;
    if (error != 0 || type != REG_DWORD || size != sizeof value) return Reading::Unusable;
    *number = value;
    return Reading::Done;
}

// For a value that may be missing. LogLevel isn't known yet, so nothing is filtered.
void ReportIfUnusable(Reading reading, const char* name, const char* countsAs = "missing") {
    if (reading != Reading::Unusable) return;
    char text[128];
    std::snprintf(text, sizeof text, "The registry value '%s' can't be used; it counts as %s.", name,
                  countsAs);
    LogEventText(EVENT_ERROR_TEXT, text, AllEvents);
}

// A text whose expansion doesn't fit counts as unreadable.
bool Expand(char* text) {
    char expanded[ParameterTextSize] = {};
    const DWORD needed = ExpandEnvironmentStringsA(text, expanded, sizeof expanded);
    if (needed == 0 || needed > sizeof expanded) return false;
    std::memcpy(text, expanded, sizeof expanded);
    return true;
}

void ReadAgentPath(HKEY root, const char* agentKey, ServerParameters* record) {
    const OpenKey key(root, agentKey);
    Reading reading = key ? ReadText(key.get(), "Pathname", record->SnmpAgentPath) : Reading::Missing;
    if (reading == Reading::Done && !Expand(record->SnmpAgentPath)) reading = Reading::Unusable;
    ReportIfUnusable(reading, "Pathname");
    if (reading != Reading::Done) std::strcpy(record->SnmpAgentPath, "inetmib1.dll");
}

// Returns the name of the required value that is missing, or null.
const char* ReadValues(HKEY key, ServerParameters* record) {
    for (const TextParameter& row : TextParameters()) {
        char* const text = TextOf(record, row);
        const Reading reading = ReadText(key, row.name, text);
        const bool isRead = reading == Reading::Done && (!row.expanded || Expand(text));
        if (!isRead && (row.required || LacksMemory())) return row.name;
        ReportIfUnusable(reading, row.name, row.unusable != nullptr ? row.unusable : "missing");
        if (reading == Reading::Unusable && row.unusable != nullptr) std::strcpy(text, row.unusable);
    }
    for (const NumberParameter& row : NumberParameters()) {
        DWORD number = row.fallback;
        const Reading reading = ReadNumber(key, row.name, &number);
        if (reading != Reading::Done && (row.required || LacksMemory())) return row.name;
        ReportIfUnusable(reading, row.name);
        NumberOf(record, row) = std::min<DWORD>(number, 0xFFFFFFFFu / row.scale) * row.scale;
    }
    return nullptr;
}

bool WriteText(HKEY key, const char* name, const char* text) {
    return RegSetValueExA(key, name, 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(text),
                          static_cast<DWORD>(std::strlen(text) + 1)) == 0;
}

bool WriteNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number) ==
           0;
}

const NumberParameter* InstalledAt(int place) {
    for (const NumberParameter& row : NumberParameters())
        if (row.installPlace == place) return &row;
    return nullptr;
}

bool IsMissing(HKEY key, const char* name) {
    return RegQueryValueExA(key, name, nullptr, nullptr, nullptr, nullptr) == ERROR_FILE_NOT_FOUND;
}

// Returns the name of the first value of an install, in the order of writing, that `visit` fails for, or
// null. The helper has its install value also where the record has none.
template <class VisitText, class VisitNumber>
const char* ForEachInstalled(ServerParameters* record, VisitText visitText, VisitNumber visitNumber) {
    for (const TextParameter& row : TextParameters()) {
        if (row.installed == nullptr) continue;
        const char* text = TextOf(record, row);
        if (text == record->HelperDLL && *text == '\0') text = row.installed;
        if (!visitText(row.name, text)) return row.name;
    }
    for (int place = NotInstalled + 1; const NumberParameter* row = InstalledAt(place); ++place)
        if (!visitNumber(row->name, NumberOf(record, *row))) return row->name;
    return nullptr;
}

enum class Writing { All, Missing };

const char* WriteValues(HKEY key, ServerParameters* record, Writing writing) {
    const auto isKept = [&](const char* name) {
        return writing == Writing::Missing && !IsMissing(key, name);
    };
    return ForEachInstalled(
        record,
        [&](const char* name, const char* text) { return isKept(name) || WriteText(key, name, text); },
        [&](const char* name, DWORD number) { return isKept(name) || WriteNumber(key, name, number); });
}

DWORD ValueResult(const char* failed, char* name) {
    if (failed == nullptr) return RegistryReadOk;
    std::strcpy(name, failed);
    return RegistryValueMissing;
}

}  // namespace

DWORD ReadRegistryParameters(HKEY root, ServerParameters* record, char* name, const char* serviceKey,
                             const char* parametersKey, const char* agentKey) {
    name[0] = '\0';
    {
        const OpenKey key(root, serviceKey);
        if (!key) return MissingKeyResult(root);
        if (ReadText(key.get(), "ImagePath", record->ImagePath) != Reading::Done)
            return ValueResult("ImagePath", name);
    }
    ReadAgentPath(root, agentKey, record);
    const OpenKey key(root, parametersKey);
    if (!key) return RegistryParametersKeyMissing;
    return ValueResult(ReadValues(key.get(), record), name);
}

namespace {

DWORD Write(HKEY root, const ServerParameters* record, char* name, const char* parametersKey,
            Writing writing) {
    name[0] = '\0';
    const OpenKey key(root, parametersKey);
    if (!key) return MissingKeyResult(root);
    ServerParameters written = *record;
    return ValueResult(WriteValues(key.get(), &written, writing), name);
}

}  // namespace

DWORD WriteRegistryParameters(HKEY root, const ServerParameters* record, char* name,
                              const char* parametersKey) {
    return Write(root, record, name, parametersKey, Writing::All);
}

DWORD CompleteRegistryParameters(HKEY root, const ServerParameters* record, char* name,
                                 const char* parametersKey) {
    return Write(root, record, name, parametersKey, Writing::Missing);
}

bool HasInstalledParameters(HKEY root, const char* parametersKey) {
    const OpenKey key(root, parametersKey);
    ServerParameters none = {};
    const auto isThere = [&](const char* name, auto) { return !IsMissing(key.get(), name); };
    return key && ForEachInstalled(&none, isThere, isThere) == nullptr;
}
