#include "database/key_section.h"

KeySection ReadKeySection(HeapBuffer* buffer, const char* name, const char* path) {
    const DWORD length = GetPrivateProfileStringA(name, nullptr, "", buffer->text, KeyListSize, path);
    return {name, {buffer->text, buffer->text + FirstNameListSize - 1}, length < KeyListSize - 2};
}
