// The way between the registry and a record.
#include <algorithm>
#include <cstring>

#include "service/parameter_table.h"
#include "service/server_parameters.h"

namespace {

class OpenKey {
  public:
    OpenKey(HKEY root, const char* path) : _open(RegOpenKeyA(root, path, &_key) == 0) {}
    ~OpenKey() {
        if (_open) RegCloseKey(_key);
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;

    explicit operator bool() const { return _open; }
    HKEY get() const { return _key; }

  private:
    HKEY _key = nullptr;
    bool _open;
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

bool Query(HKEY key, const char* name, DWORD* type, void* value, DWORD* size) {
    const LONG error = RegQueryValueExA(key, name, nullptr, type, static_cast<BYTE*>(value), size);
    SetLastError(static_cast<DWORD>(error));
    return error == 0;
}

// `text` has ParameterTextSize bytes; it is left as it was if the value is missing,
// isn't a text or doesn't fit.
bool ReadText(HKEY key, const char* name, char* text) {
    char value[ParameterTextSize] = {};
    DWORD type = REG_NONE;
    DWORD size = sizeof value - 1;  // a stored text needn't end in a NUL
    if (!Query(key, name, &type, value, &size) || !IsText(type)) return false;
    std::memcpy(text, value, sizeof value);
    return true;
}

bool ReadNumber(HKEY key, const char* name, DWORD* number) {
    DWORD value = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof value;
    if (!Query(key, name, &type, &value, &size)) return false;
    if (type != REG_DWORD || size != sizeof value) return false;
    *number = value;
    return true;
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
    if (!key || !ReadText(key.get(), "Pathname", record->SnmpAgentPath) || !Expand(record->SnmpAgentPath))
        std::strcpy(record->SnmpAgentPath, "inetmib1.dll");
}

// Returns the name of the required value that is missing, or null.
const char* ReadValues(HKEY key, ServerParameters* record) {
    for (const TextParameter& row : TextParameters()) {
        char* const text = TextOf(record, row);
        const bool isRead = ReadText(key, row.name, text) && (!row.expanded || Expand(text));
        if (!isRead && (row.required || LacksMemory())) return row.name;
    }
    for (const NumberParameter& row : NumberParameters()) {
        DWORD number = row.fallback;
        if (!ReadNumber(key, row.name, &number) && (row.required || LacksMemory())) return row.name;
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
        if (!ReadText(key.get(), "ImagePath", record->ImagePath)) return ValueResult("ImagePath", name);
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
