// What is kept from client to client: the sections that many of them share, and in a load the buffers for
// their keys.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "database/load/name_list.h"
#include "database/option_catalogue.h"
#include "platform/windows_api.h"

struct KeyBuffers {
    HeapBuffer ofTemplate;
    HeapBuffer ofClient;

    explicit KeyBuffers(HANDLE heap) : ofTemplate(heap, KeyListSize), ofClient(heap, KeyListSize) {}
    bool AreThere() const { return ofTemplate.text != nullptr && ofClient.text != nullptr; }

    // False if the heap wouldn't take one of them back.
    bool Release() {
        const bool released = ofTemplate.Release();
        return ofClient.Release() && released;
    }
};

// A key of a template with its value and its row of the catalogue, which is null if it has none.
struct SharedKey {
    std::string name;
    std::string value;
    const OptionDefinition* definition;
};

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <class T>
using SharedTexts = std::unordered_map<std::string, T, TextHash, std::equal_to<>>;

// What has been read of one content of the file.
struct SectionMemo {
    std::size_t mostTexts;                          // then all is forgotten
    SharedTexts<std::vector<SharedKey>> templates;  // by the section's name
    SharedTexts<std::string> aliases;               // of each boot file; itself if it has none
    std::size_t textCount = 0;                      // what the tables hold

    void Forget();
};

struct SharedSections {
    // A boot file or a template of its own for each client must not make the load remember them all.
    static constexpr std::size_t MostTexts = 4096;

    KeyBuffers buffers;
    SectionMemo memo = {MostTexts, {}, {}};

    explicit SharedSections(HANDLE heap) : buffers(heap) {}
};

// What the calling thread has kept of earlier clients outside the list, if it is of that content of the file
// (see HeldIniFile) and of that catalogue; else it begins anew. Null if the content has no number. `heap` is
// that of the catalogue.
SectionMemo* ThreadsMemo(std::uint64_t content, HANDLE heap, const OptionDefinition* catalogue);

// The keys of a template in file order, read now or by an earlier call; `buffer` has KeyListSize. Null if
// there is no memory for them.
const std::vector<SharedKey>* RecallTemplate(SectionMemo* memo, const char* section, HeapBuffer* buffer,
                                             const OptionDefinition* catalogue, const char* path);

// What "File Aliases" has for the boot file, read now or by an earlier call with at most BootFileSize
// characters. Null if there is no memory for it.
const std::string* RecallAlias(SectionMemo* memo, const char* bootFile, const char* path);
