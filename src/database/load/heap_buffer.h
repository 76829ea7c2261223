// A zero-filled text block of a private heap that is freed when it goes out of scope.
#pragma once

#include "platform/windows_api.h"

struct HeapBuffer {
    HANDLE heap;
    char* text = nullptr;  // null when there was no memory
    DWORD size = 0;

    HeapBuffer(HANDLE ownerHeap, DWORD bytes)
        : heap(ownerHeap),
          text(static_cast<char*>(HeapAlloc(ownerHeap, HEAP_ZERO_MEMORY, bytes))),
          size(bytes) {}
    ~HeapBuffer() { Release(); }
    HeapBuffer(const HeapBuffer&) = delete;
    HeapBuffer& operator=(const HeapBuffer&) = delete;

    // Frees the block now; false if the heap wouldn't take it back.
    bool Release() {
        char* block = text;
        text = nullptr;
        return block == nullptr || HeapFree(heap, 0, block) != FALSE;
    }

    // Trades the block for a zero-filled one of another size. The old text is gone in any case.
    bool Allocate(DWORD bytes) {
        text = static_cast<char*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, bytes));
        size = bytes;
        return text != nullptr;
    }
};
