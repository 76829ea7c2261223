// The only code that knows the names of the registry values.
#include <algorithm>
#include <cstring>

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

// Leaves `text` as it was if the value is missing, isn't a text or doesn't fit.
bool ReadText(HKEY key, const char* name, char (&text)[ParameterTextSize]) {
    char value[ParameterTextSize] = {};
    DWORD type = REG_NONE;
    DWORD size = sizeof value - 1;  // a stored text needn't end in a NUL
    if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(value), &size) != 0 ||
        !IsText(type))
        return false;
    std::memcpy(text, value, sizeof text);
    return true;
}

bool ReadNumber(HKEY key, const char* name, DWORD* number) {
    DWORD value = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof value;
    if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) != 0)
        return false;
    if (type != REG_DWORD || size != sizeof value) return false;
    *number = value;
    return true;
}

// A text whose expansion doesn't fit counts as unreadable.
bool Expand(char (&text)[ParameterTextSize]) {
    char expanded[ParameterTextSize] = {};
    const DWORD needed = ExpandEnvironmentStringsA(text, expanded, sizeof expanded);
    if (needed == 0 || needed > sizeof expanded) return false;
    std::memcpy(text, expanded, sizeof text);
    return true;
}

void ReadAgentPath(HKEY root, const char* agentKey, ServerParameters* record) {
    const OpenKey key(root, agentKey);
    if (!key || !ReadText(key.get(), "Pathname", record->SnmpAgentPath) || !Expand(record->SnmpAgentPath))
        std::strcpy(record->SnmpAgentPath, "inetmib1.dll");
}

struct TextValue {
    const char* name;
    char (ServerParameters::*field)[ParameterTextSize];
};

struct NumberValue {
    const char* name;
    DWORD ServerParameters::*field;
    bool required;
    DWORD fallback;
    DWORD scale = 1;  // from the registry's unit to the record's
};

constexpr TextValue ExpandedTexts[] = {
    {"DatabasePath", &ServerParameters::DatabasePath},
    {"LogFile", &ServerParameters::LogFile},
    {"HelperDLL", &ServerParameters::HelperDLL},
};

// In the order of reading; SecondDaemonThreadTimeout is signed and stands apart.
constexpr NumberValue NumbersBeforeTimeout[] = {
    {"EnableLogging", &ServerParameters::EnableLogging, true, 0},
    {"LogLevel", &ServerParameters::LogLevel, true, 0},
    {"ForceBroadcast", &ServerParameters::ForceBroadcast, false, 0},
    {"UseClientSrcPort", &ServerParameters::UseClientSrcPort, false, 0},
    {"TerminateStrings", &ServerParameters::TerminateStrings, false, 0},
    {"StaticArpTimeout", &ServerParameters::StaticArpTimeout, false, 60, 1000},
    {"CacheSize", &ServerParameters::CacheSize, true, 0},
    {"ExpireSeconds", &ServerParameters::ExpireSeconds, true, 0},
    {"ExpireHits", &ServerParameters::ExpireHits, true, 0},
    {"DaemonSensitivity", &ServerParameters::DaemonSensitivity, true, 0},
    {"PacketTripRate", &ServerParameters::PacketTripRate, true, 0},
    {"Daemonblksize", &ServerParameters::Daemonblksize, true, 0},
    {"MaxDaemonThreads", &ServerParameters::MaxDaemonThreads, true, 0},
};

// Answers the name of the required value that is missing, or null.
const char* ReadValues(HKEY key, ServerParameters* record) {
    for (const TextValue& value : ExpandedTexts)
        if (!ReadText(key, value.name, record->*value.field) || !Expand(record->*value.field))
            return value.name;
    ReadText(key, "LocalAddrs", record->LocalAddrs);
    for (const NumberValue& value : NumbersBeforeTimeout) {
        DWORD number = value.fallback;
        if (!ReadNumber(key, value.name, &number) && value.required) return value.name;
        record->*value.field = std::min<DWORD>(number, 0xFFFFFFFFu / value.scale) * value.scale;
    }
    DWORD timeout = 0;
    if (!ReadNumber(key, "SecondDaemonThreadTimeout", &timeout)) return "SecondDaemonThreadTimeout";
    record->SecondDaemonThreadTimeout = static_cast<LONG>(timeout);
    if (!ReadNumber(key, "MinResponseSize", &record->MinResponseSize)) record->MinResponseSize = 0;
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

constexpr NumberValue InstalledNumbers[] = {
    {"EnableLogging", &ServerParameters::EnableLogging, true, 0},
    {"ForceBroadcast", &ServerParameters::ForceBroadcast, true, 0},
    {"LogLevel", &ServerParameters::LogLevel, true, 0},
    {"CacheSize", &ServerParameters::CacheSize, true, 0},
    {"ExpireSeconds", &ServerParameters::ExpireSeconds, true, 0},
    {"ExpireHits", &ServerParameters::ExpireHits, true, 0},
    {"DaemonSensitivity", &ServerParameters::DaemonSensitivity, true, 0},
    {"PacketTripRate", &ServerParameters::PacketTripRate, true, 0},
    {"Daemonblksize", &ServerParameters::Daemonblksize, true, 0},
    {"MaxDaemonThreads", &ServerParameters::MaxDaemonThreads, true, 0},
};

// Answers the name of the first value that can't be written, or null.
const char* WriteValues(HKEY key, const ServerParameters* record) {
    const char* helper = record->HelperDLL[0] != '\0' ? record->HelperDLL : "arpadd.dll";
    if (!WriteText(key, "DatabasePath", record->DatabasePath)) return "DatabasePath";
    if (!WriteText(key, "LogFile", record->LogFile)) return "LogFile";
    if (!WriteText(key, "HelperDLL", helper)) return "HelperDLL";
    for (const NumberValue& value : InstalledNumbers)
        if (!WriteNumber(key, value.name, record->*value.field)) return value.name;
    if (!WriteNumber(key, "SecondDaemonThreadTimeout", static_cast<DWORD>(record->SecondDaemonThreadTimeout)))
        return "SecondDaemonThreadTimeout";
    return nullptr;
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

DWORD WriteRegistryParameters(HKEY root, const ServerParameters* record, char* name,
                              const char* parametersKey) {
    name[0] = '\0';
    const OpenKey key(root, parametersKey);
    if (!key) return MissingKeyResult(root);
    return ValueResult(WriteValues(key.get(), record), name);
}
