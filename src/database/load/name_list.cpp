#include "database/load/name_list.h"

#include <cstring>

#include "database/database_result.h"

char* NextName(NameList* list) {
    if (list->at >= list->end || *list->at == '\0') return nullptr;
    const auto room = static_cast<std::size_t>(list->end - list->at);
    auto* terminator = static_cast<char*>(std::memchr(list->at, '\0', room));
    if (terminator == nullptr) return nullptr;
    char* name = list->at;
    list->at = terminator + 1;
    return name;
}

bool HasName(NameList list, const char* name) {
    while (const char* candidate = NextName(&list)) {
        if (IsSameName(candidate, name)) return true;
    }
    return false;
}

DWORD ReadWholeNameList(HeapBuffer* buffer, NameListReader* read, const char* path) {
    if (buffer->text == nullptr) return OutOfMemory;
    while (read(buffer->text, buffer->size, path) == buffer->size - 2) {
        const DWORD doubled = buffer->size * 2;
        if (!buffer->Release()) return BlockNotReleased;
        if (doubled == 0 || !buffer->Allocate(doubled)) return OutOfMemory;
    }
    return DatabaseOk;
}

KeySection ReadKeySection(HeapBuffer* buffer, const char* name, const char* path) {
    const DWORD length = GetPrivateProfileStringA(name, nullptr, "", buffer->text, KeyListSize, path);
    return {name, {buffer->text, buffer->text + FirstNameListSize - 1}, length < KeyListSize - 2};
}
