// The keys of one section of bootptab, as the building of an entry reads them.
#pragma once

#include "database/name_list.h"

// Names that end within 4095 bytes are the section's keys. The list is read with a byte to spare, so that a
// name that fills the last byte can be told from one that was cut there.
inline constexpr DWORD KeyListSize = FirstNameListSize + 1;

struct KeySection {
    const char* name;
    NameList keys;
    bool isWhole;  // false if there may be keys that the list doesn't show
};

// The keys of the section of that name, in file order; they stand in `buffer`, which has KeyListSize.
KeySection ReadKeySection(HeapBuffer* buffer, const char* name, const char* path);
