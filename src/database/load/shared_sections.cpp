#include "database/load/shared_sections.h"

#include <cstring>
#include <new>

#include "database/boot_file.h"
#include "database/load/option_encoding.h"

namespace {

// A boot file or a template of its own for each client must not make the load remember them all.
constexpr std::size_t MostSharedTexts = 4096;

void MakeRoom(SharedSections* shared) {
    if (shared->textCount < MostSharedTexts) return;
    shared->templates.clear();
    shared->aliases.clear();
    shared->textCount = 0;
}

std::vector<SharedKey> ReadTemplate(const char* section, HeapBuffer* buffer,
                                    const OptionDefinition* catalogue, const char* path) {
    std::vector<SharedKey> keys;
    KeySection read = ReadKeySection(buffer, section, path);
    while (const char* key = NextName(&read.keys)) {
        char value[OptionValueRead];
        GetPrivateProfileStringA(section, key, "", value, OptionValueRead, path);
        keys.push_back({key, value, FindOptionDefinition(catalogue, key)});
    }
    return keys;
}

}  // namespace

const std::vector<SharedKey>* RecallTemplate(SharedSections* shared, const char* section, HeapBuffer* buffer,
                                             const OptionDefinition* catalogue, const char* path) try {
    const auto known = shared->templates.find(std::string_view(section));
    if (known != shared->templates.end()) return &known->second;
    MakeRoom(shared);
    std::vector<SharedKey> keys = ReadTemplate(section, buffer, catalogue, path);
    shared->textCount += 1 + keys.size();
    return &shared->templates.emplace(section, std::move(keys)).first->second;
} catch (const std::bad_alloc&) {
    return nullptr;
}

const std::string* RecallAlias(SharedSections* shared, const char* bootFile, const char* path) try {
    const auto known = shared->aliases.find(std::string_view(bootFile));
    if (known != shared->aliases.end()) return &known->second;
    MakeRoom(shared);
    char alias[BootFileSize + 1];
    ReadAlias(bootFile, bootFile, alias, sizeof alias, path);
    ++shared->textCount;
    return &shared->aliases.emplace(bootFile, alias).first->second;
} catch (const std::bad_alloc&) {
    return nullptr;
}
