// What a load keeps from client to client: the sections that many of them share, and the buffers for their
// keys.
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

struct SharedSections {
    KeyBuffers buffers;
    SharedTexts<std::vector<SharedKey>> templates;  // by the section's name
    SharedTexts<std::string> aliases;               // of each boot file; itself if it has none
    std::size_t textCount = 0;                      // what the tables hold

    explicit SharedSections(HANDLE heap) : buffers(heap) {}
};

// The keys of a template in file order, read now or by an earlier call; `buffer` has KeyListSize. Null if
// there is no memory to keep them.
const std::vector<SharedKey>* RecallTemplate(SharedSections* shared, const char* section, HeapBuffer* buffer,
                                             const OptionDefinition* catalogue, const char* path);

// What "File Aliases" has for the boot file, read now or by an earlier call with at most BootFileSize
// characters. Null if there is no memory to keep it.
const std::string* RecallAlias(SharedSections* shared, const char* bootFile, const char* path);
