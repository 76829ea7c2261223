#include "database/shared_sections.h"

#include <cstring>
#include <new>

namespace {

// A boot file of its own for each client must not make the load remember them all.
constexpr std::size_t MostSharedTexts = 4096;

// The text that was read before, or is read now.
const std::string* Recall(SharedSections* shared, const char* section, const char* key, const char* fallback,
                          char* buffer, DWORD size, const char* path) {
    if (shared->answers.size() >= MostSharedTexts) shared->answers.clear();
    // No name has a NUL in it, and a list of names has no key.
    std::string names = section;
    if (key != nullptr) names.append(1, '\0').append(key);
    const auto known = shared->answers.find(names);
    if (known != shared->answers.end()) return &known->second;
    const DWORD length = GetPrivateProfileStringA(section, key, fallback, buffer, size, path);
    return &shared->answers.emplace(std::move(names), std::string(buffer, length)).first->second;
}

}  // namespace

DWORD ReadSharedText(SharedSections* shared, const char* section, const char* key, const char* fallback,
                     char* buffer, DWORD size, const char* path) try {
    if (shared == nullptr) return GetPrivateProfileStringA(section, key, fallback, buffer, size, path);
    const std::string* text = Recall(shared, section, key, fallback, buffer, size, path);
    std::memcpy(buffer, text->c_str(), text->size() + 1);  // the NUL that ends a value, or a list
    return static_cast<DWORD>(text->size());
} catch (const std::bad_alloc&) {
    return GetPrivateProfileStringA(section, key, fallback, buffer, size, path);
}
