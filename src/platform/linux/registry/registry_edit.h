// What the layer itself needs of the registry beyond registry.h. Within the layer only.
#pragma once

#include "platform/linux/faces/registry.h"

// 0, 2 if the key has no such value, or another error number.
LONG WINAPI RegDeleteValueA(HKEY key, LPCSTR name);
