// Lists of section or key names as the INI reader writes them: each name ended by a NUL, one more NUL after
// the last.
#pragma once

#include <array>
#include <cstddef>

#include "database/load/heap_buffer.h"
#include "platform/windows_api.h"

struct NameList {
    char* at;   // the next name
    char* end;  // the first byte after the list's buffer
};

// The next name, or null at the end of the list. A text that has no NUL in front of `end` was cut, and is no
// name.
char* NextName(NameList* list);

// Whether two names are the same in whatever case. Most pairs differ in their first characters, and most
// names that are the same are spelt alike.
inline bool IsSameName(const char* left, const char* right) {
    for (; *left == *right; ++left, ++right)
        if (*left == '\0') return true;
    // The cases of a letter differ in one bit.
    return ((*left ^ *right) & ~0x20) == 0 && _stricmp(left, right) == 0;
}

// Whether the list has the name, in whatever case.
bool HasName(NameList list, const char* name);

// The same for many names: the list's own are found once.
class NameSet {
  public:
    explicit NameSet(NameList list) : rest_(list) {
        while (count_ < names_.size() && (names_[count_] = NextName(&rest_)) != nullptr)
            ++count_;
    }
    bool Has(const char* name) const {
        for (std::size_t at = 0; at < count_; ++at)
            if (IsSameName(names_[at], name)) return true;
        return HasName(rest_, name);
    }

  private:
    std::array<const char*, 32> names_;
    std::size_t count_ = 0;
    NameList rest_;  // for which there was no room
};

// Reads a list as GetPrivateProfileSectionNamesA does.
using NameListReader = DWORD(char* buffer, DWORD size, const char* path);

// The first size of a list's buffer. A whole list doubles it until the list fits.
inline constexpr DWORD FirstNameListSize = 4096;

// Fills `buffer`, which was made with FirstNameListSize, with the whole list. Returns DatabaseOk, OutOfMemory
// or BlockNotReleased.
DWORD ReadWholeNameList(HeapBuffer* buffer, NameListReader* read, const char* path);

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
