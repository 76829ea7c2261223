// What a load has read of the sections that many clients share: templates and file aliases.
//
// Every call of an INI operation looks at the file, which costs more than all the encoding of a key. A load
// therefore asks for each text of a shared section once.
#pragma once

#include <string>
#include <unordered_map>

#include "platform/windows_api.h"

struct SharedSections {
    std::unordered_map<std::string, std::string> answers;
};

// As GetPrivateProfileStringA, but that the answer comes from `shared` if it has been asked for with these
// names before; the size is then the same too. Null always asks the file. May throw std::bad_alloc unless
// `shared` is null.
DWORD ReadSharedText(SharedSections* shared, const char* section, const char* key, const char* fallback,
                     char* buffer, DWORD size, const char* path);
