// Private heaps. Every thread may allocate and free at once; the heap goes as a whole, with all that is still
// in it.
#pragma once

#include "platform/linux/faces/types.h"

inline constexpr DWORD HEAP_ZERO_MEMORY = 8;

// `maximumSize` 0 lets the heap grow; another bounds the sum of its blocks, each with 16 bytes on top and
// rounded up to 16, and may not be below the initial size (ERROR_INVALID_PARAMETER). An initial size that a
// 32-bit process couldn't reserve (2 GiB and above) fails with ERROR_NOT_ENOUGH_MEMORY.
HANDLE WINAPI HeapCreate(DWORD options, SIZE_T initialSize, SIZE_T maximumSize);

// Null when there is no memory. A block is aligned to 16 bytes, and zero-filled with HEAP_ZERO_MEMORY; what
// is in it without that is undefined.
LPVOID WINAPI HeapAlloc(HANDLE heap, DWORD flags, SIZE_T size);

// May be called from another thread than the allocating one. A null block is freed already. One that isn't a
// live block of this heap is refused with ERROR_INVALID_PARAMETER, as far as its memory can still be read.
BOOL WINAPI HeapFree(HANDLE heap, DWORD flags, LPVOID block);
BOOL WINAPI HeapDestroy(HANDLE heap);
