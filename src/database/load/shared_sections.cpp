#include "database/load/shared_sections.h"

#include <cstring>
#include <new>

#include "database/boot_file.h"
#include "database/load/option_encoding.h"
#include "platform/held_ini_file.h"

namespace {

// Of each thread that serves requests.
constexpr std::size_t MostThreadTexts = 256;

struct ThreadMemo {
    std::uint64_t content = 0;
    HANDLE heap = nullptr;  // no other heap has had its handle, but for one long ago
    const OptionDefinition* catalogue = nullptr;
    SectionMemo memo = {MostThreadTexts, {}, {}};
};

void MakeRoom(SectionMemo* memo) {
    if (memo->textCount >= memo->mostTexts) memo->Forget();
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

void SectionMemo::Forget() {
    templates.clear();
    aliases.clear();
    textCount = 0;
}

SectionMemo* ThreadsMemo(std::uint64_t content, HANDLE heap, const OptionDefinition* catalogue) {
    thread_local ThreadMemo own;
    if (content == 0) return nullptr;
    if (own.content != content || own.heap != heap || own.catalogue != catalogue) {
        own.memo.Forget();
        own.content = content;
        own.heap = heap;
        own.catalogue = catalogue;
    }
    return &own.memo;
}

const std::vector<SharedKey>* RecallTemplate(SectionMemo* memo, const char* section, HeapBuffer* buffer,
                                             const OptionDefinition* catalogue, const char* path) try {
    const auto known = memo->templates.find(std::string_view(section));
    if (known != memo->templates.end()) return &known->second;
    MakeRoom(memo);
    const HeldIniFile held;
    std::vector<SharedKey> keys = ReadTemplate(section, buffer, catalogue, path);
    if (held.HasMissedMemory()) return nullptr;
    memo->textCount += 1 + keys.size();
    return &memo->templates.emplace(section, std::move(keys)).first->second;
} catch (const std::bad_alloc&) {
    return nullptr;
}

const std::string* RecallAlias(SectionMemo* memo, const char* bootFile, const char* path) try {
    const auto known = memo->aliases.find(std::string_view(bootFile));
    if (known != memo->aliases.end()) return &known->second;
    MakeRoom(memo);
    const HeldIniFile held;
    char alias[BootFileSize + 1];
    ReadAlias(bootFile, bootFile, alias, sizeof alias, path);
    if (held.HasMissedMemory()) return nullptr;
    ++memo->textCount;
    return &memo->aliases.emplace(bootFile, alias).first->second;
} catch (const std::bad_alloc&) {
    return nullptr;
}
