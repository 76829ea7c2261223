#include "database/option_catalogue.h"

#include <cstring>
#include <limits>

#include "database/database_result.h"
#include "database/load/name_list.h"
#include "database/load/value_reading.h"
#include "platform/held_ini_file.h"

namespace {

constexpr char OptionsSection[] = "Options";

struct TypeWord {
    const char* word;
    OptionType type;
};

constexpr TypeWord TypeWords[] = {
    {"byte", OptionType::Byte},
    {"ipaddress", OptionType::IpAddress},
    {"string", OptionType::String},
    {"int", OptionType::Int},
    {"word", OptionType::Word},
    {"time", OptionType::Time},
    {"ipaddressarray", OptionType::IpAddressArray},
    {"multi-byte", OptionType::MultiByte},
    {"bool", OptionType::Bool},
    {"haddr", OptionType::HardwareAddress},
};

DWORD CheckReadable(const char* path) {
    const HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(file);
    return DatabaseOk;
}

DWORD ReadOptionNames(char* buffer, DWORD size, const char* path) {
    return GetPrivateProfileStringA(OptionsSection, nullptr, "", buffer, size, path);
}

// Leaves the last row empty, to end the catalogue.
DWORD CopyNames(NameList names, DWORD capacity, OptionDefinition* rows, DWORD* count) {
    while (const char* name = NextName(&names)) {
        const std::size_t length = std::strlen(name);
        if (length >= OptionNameSize) return DatabaseCorrupt;
        if (capacity < 2 || *count >= capacity - 1) return CatalogueTooSmall;
        std::memcpy(rows[*count].name, name, length + 1);
        ++*count;
    }
    return DatabaseOk;
}

// `definition` is the value of the row's key: a tag, a comma, a type word.
DWORD ReadDefinition(const char* definition, OptionDefinition* row) {
    const char* comma = std::strchr(definition, ',');
    if (comma == nullptr) return DatabaseCorrupt;
    const auto tag = ReadDecimal(definition);
    if (!tag || *tag > std::numeric_limits<LONG>::max()) return DatabaseCorrupt;
    row->tag = static_cast<LONG>(*tag);
    for (const TypeWord& candidate : TypeWords) {
        if (_stricmp(comma + 1, candidate.word) == 0) row->type = candidate.type;
    }
    return DatabaseOk;
}

DWORD FillCatalogue(HeapBuffer* buffer, const char* path, DWORD capacity, OptionDefinition* rows) {
    DWORD result = ReadWholeNameList(buffer, ReadOptionNames, path);
    if (result != DatabaseOk) return result;
    DWORD count = 0;
    result = CopyNames({buffer->text, buffer->text + buffer->size}, capacity, rows, &count);
    // From here on the names stand in the rows, and their buffer takes the values.
    while (result == DatabaseOk && count > 0) {
        --count;
        GetPrivateProfileStringA(OptionsSection, rows[count].name, "", buffer->text, buffer->size, path);
        result = ReadDefinition(buffer->text, &rows[count]);
    }
    return result;
}

}  // namespace

DWORD ReadOptionCatalogue(HANDLE heap, const char* path, DWORD capacity, OptionDefinition* rows) {
    DWORD result = CheckReadable(path);
    if (result != DatabaseOk) return result;
    const HeldIniFile held;
    HeapBuffer buffer(heap, FirstNameListSize);
    result = FillCatalogue(&buffer, path, capacity, rows);
    if (held.HasMissedMemory()) result = OutOfMemory;
    return buffer.Release() ? result : BlockNotReleased;
}

const OptionDefinition* FindOptionDefinition(const OptionDefinition* catalogue, const char* name) {
    if (*name == '\0') return nullptr;
    for (const OptionDefinition* row = catalogue; row->name[0] != '\0'; ++row) {
        if (IsSameName(row->name, name)) return row;
    }
    return nullptr;
}
