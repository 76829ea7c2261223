// INI files. A file is parsed once per content and kept, indexed by section and key; an edit by anybody is
// seen by the next call. Any number of threads may read at once.
#pragma once

#include "platform/linux/faces/types.h"

// With a key: its value, or `fallback`. Without one (null): the key names of the section, each ended by a
// NUL, with one more NUL after the last. Without a section (null): the section names. Results that don't fit
// are cut; the result is then size - 1 for a value and size - 2 for a list, else the characters written
// without the last NUL.
DWORD WINAPI GetPrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR fallback, LPSTR buffer, DWORD size,
                                      LPCSTR path);
DWORD WINAPI GetPrivateProfileSectionNamesA(LPSTR buffer, DWORD size, LPCSTR path);
