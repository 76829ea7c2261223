#include "platform/linux/faces/heap.h"

#include <malloc.h>
#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "platform/linux/memory/block_pool.h"
#include "platform/linux/memory/kept_blocks.h"
#include "platform/linux/objects/object.h"

namespace {

constexpr SIZE_T MostBytes = SIZE_T{1} << 40;  // of one block
constexpr SIZE_T MostKeptBytes = 8192;

// A build with AddressSanitizer sees the use of a freed block, and of what was added to round a block up.
void* Open(BlockHeader* header, DWORD flags, SIZE_T size) {
    void* block = header + 1;
    ASAN_POISON_MEMORY_REGION(block, FootprintOf(size) - sizeof(BlockHeader));
    ASAN_UNPOISON_MEMORY_REGION(block, size);
    if ((flags & HEAP_ZERO_MEMORY) != 0) std::memset(block, 0, size);
    return block;
}

BlockHeader* HeaderOf(void* block) {
    return static_cast<BlockHeader*>(block) - 1;
}

// Returns the footprint.
SIZE_T Close(BlockHeader* header) {
    header->mark = header->MarkAs(BlockHeader::Freed);
    const SIZE_T footprint = FootprintOf(header->size);
    ASAN_POISON_MEMORY_REGION(header + 1, footprint - sizeof(BlockHeader));
    return footprint;
}

bool IsLive(const BlockHeader* header, std::uint32_t heap) {
    return header->heap == heap && header->mark == header->MarkAs(BlockHeader::Live);
}

void Mark(BlockHeader* header, SIZE_T size, std::uint32_t heap) {
    *header = {{size}, heap, header->MarkAs(BlockHeader::Live)};
}

class HeapObject final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Heap;

    explicit HeapObject(SIZE_T limit) : Object(OwnType), limit_(limit) {}

    void* Allocate(DWORD flags, SIZE_T size) {
        BlockHeader* header = Take(size);
        return header == nullptr ? nullptr : Open(header, flags, size);
    }

    // False for what isn't a live block of this heap.
    bool Free(BlockHeader* header) {
        const std::lock_guard lock(mutex_);
        if (!IsLive(header, id_)) return false;
        PutBack(header, Close(header));
        return true;
    }

    // One that has been closed.
    void Return(BlockHeader* header) {
        const std::lock_guard lock(mutex_);
        PutBack(header, FootprintOf(header->size));
    }

    bool IsLimited() const { return limit_ != 0; }
    std::uint32_t Number() const { return id_; }

  private:
    BlockHeader* Take(SIZE_T size) {
        if (size > MostBytes) return nullptr;
        const SIZE_T footprint = FootprintOf(size);
        const std::lock_guard lock(mutex_);
        if (limit_ != 0 && footprint > limit_ - used_) return nullptr;
        BlockHeader* header = pool_.Take(footprint);
        if (header == nullptr) return nullptr;
        Mark(header, size, id_);
        used_ += footprint;
        return header;
    }

    // The caller holds mutex_.
    void PutBack(BlockHeader* header, SIZE_T footprint) {
        used_ -= footprint;
        pool_.Put(header, footprint);
    }

    static std::uint32_t NextId() {
        static std::atomic<std::uint32_t> last{0};
        return ++last;
    }

    const SIZE_T limit_;  // 0 for none
    const std::uint32_t id_ = NextId();
    std::mutex mutex_;  // guards what follows, and the headers
    SIZE_T used_ = 0;
    BlockPool pool_;
};

// The calling thread's.
struct ThreadsBlocks {
    KeptBlocks blocks;
    bool isOver = false;

    ~ThreadsBlocks() {
        LetGo(nullptr, 0);
        isOver = true;  // what the thread still frees at its end goes to the heap
    }

    void StartWith(HANDLE handle, const HeapObject& heap) {
        if (!isOver && handle != blocks.Heap() && !heap.IsLimited()) LetGo(handle, heap.Number());
    }

    void LetGo(HANDLE next, std::uint32_t number) {
        if (blocks.Heap() == nullptr && next == nullptr) return;
        const Ref<HeapObject> former =
            blocks.IsOf(blocks.Heap()) ? LookUpObject<HeapObject>(blocks.Heap()) : nullptr;
        blocks.TurnTo(next, number, [&former](BlockHeader* header) {
            if (former) former->Return(header);
        });
    }
};
constinit thread_local ThreadsBlocks kept;

// False for what isn't a live block of the heap, and without room.
bool Keep(BlockHeader* header) {
    if (!IsLive(header, kept.blocks.HeapNumber()) || header->size > MostKeptBytes) return false;
    if (!kept.blocks.Keep(header, FootprintOf(header->size))) return false;
    Close(header);
    return true;
}

// What a heap has held goes back to the system and not only to the allocator, which would keep it in as many
// places as there are threads: a service that builds its heaps anew again and again would grow with each.
//
// One thread at a time: where another allocator stands in for the C library's own, as in a build with
// AddressSanitizer, the first call sets that one up, and it doesn't expect company at this.
void ReturnFreeMemory() {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    malloc_trim(0);
}

// What can't be the address of a block is refused without looking at it.
bool MayBeBlock(LPCVOID block) {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    return address % alignof(BlockHeader) == 0 && address >= 0x10000;
}

// What follows stays out of the operations themselves, which rarely need it.

[[gnu::noinline]] LPVOID AllocateFromHeap(HANDLE handle, DWORD flags, SIZE_T size) {
    const Ref<HeapObject> heap = LookUpObject<HeapObject>(handle);
    if (!heap) return nullptr;
    void* block = heap->Allocate(flags, size);
    if (block == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return block;
}

[[gnu::noinline]] BOOL FreeToHeap(HANDLE handle, LPVOID block) {
    const Ref<HeapObject> heap = LookUpObject<HeapObject>(handle);
    if (!heap) return FALSE;
    if (block == nullptr) return TRUE;
    if (MayBeBlock(block) && heap->Free(HeaderOf(block))) {
        kept.StartWith(handle, *heap);
        return TRUE;
    }
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

}  // namespace

HANDLE WINAPI HeapCreate(DWORD, SIZE_T initialSize, SIZE_T maximumSize) {
    constexpr SIZE_T AddressSpace = SIZE_T{1} << 31;
    if (maximumSize != 0 && maximumSize < initialSize) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (initialSize >= AddressSpace) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return PublishObject(MakeObject<HeapObject>(maximumSize));
}

LPVOID WINAPI HeapAlloc(HANDLE handle, DWORD flags, SIZE_T size) {
    if (size <= MostKeptBytes && kept.blocks.IsOf(handle)) {
        if (BlockHeader* header = kept.blocks.Take(FootprintOf(size)); header != nullptr) {
            Mark(header, size, kept.blocks.HeapNumber());
            return Open(header, flags, size);
        }
    }
    return AllocateFromHeap(handle, flags, size);
}

BOOL WINAPI HeapFree(HANDLE handle, DWORD, LPVOID block) {
    if (MayBeBlock(block) && kept.blocks.IsOf(handle) && Keep(HeaderOf(block))) return TRUE;
    return FreeToHeap(handle, block);
}

BOOL WINAPI HeapDestroy(HANDLE heap) {
    if (!CloseObjectHandle(heap, ObjectType::Heap)) return FALSE;
    ReturnFreeMemory();
    return TRUE;
}
