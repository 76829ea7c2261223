// A block of a private heap for texts that are read into it, freed when it goes out of scope. What is in it
// at first is undefined.
#pragma once

#include "platform/windows_api.h"

struct HeapBuffer {
    HANDLE heap;
    char* text = nullptr;  // null when there was no memory
    DWORD size = 0;

    HeapBuffer(HANDLE ownerHeap, DWORD bytes)
        : heap(ownerHeap), text(static_cast<char*>(HeapAlloc(ownerHeap, 0, bytes))), size(bytes) {}
    ~HeapBuffer() { Release(); }
    HeapBuffer(const HeapBuffer&) = delete;
    HeapBuffer& operator=(const HeapBuffer&) = delete;

    // Frees the block now; false if the heap wouldn't take it back.
    bool Release() {
        char* block = text;
        text = nullptr;
        return block == nullptr || HeapFree(heap, 0, block) != FALSE;
    }

    // Trades the block for one of another size. The old text is gone in any case.
    bool Allocate(DWORD bytes) {
        text = static_cast<char*>(HeapAlloc(heap, 0, bytes));
        size = bytes;
        return text != nullptr;
    }
};
