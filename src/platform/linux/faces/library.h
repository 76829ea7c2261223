// Loadable libraries.
#pragma once

#include "platform/linux/faces/types.h"

using FARPROC = int(WINAPI*)();

// A name with a path is taken as it is. A bare NAME.dll is looked up as NAME.so beside the executable, then
// in the library folder of the installation. Null and ERROR_MOD_NOT_FOUND if there is none.
HMODULE WINAPI LoadLibraryA(LPCSTR name);
FARPROC WINAPI GetProcAddress(HMODULE library, LPCSTR name);  // null and ERROR_PROC_NOT_FOUND
