#include "platform/linux/faces/heap.h"

#include <malloc.h>
#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <mutex>
#include <new>
#include <optional>

#include "platform/linux/memory/heap_blocks.h"
#include "platform/linux/memory/page_memory.h"
#include "platform/linux/objects/object.h"

namespace {

constexpr SIZE_T kMostBytes = SIZE_T{1} << 40;  // of one block

constexpr std::pmr::pool_options kPoolOptions{.max_blocks_per_chunk = 65536,
                                              .largest_required_pool_block = 8192};

// The chunks of the pools. A large one is a mapping of its own, so that it goes back to the system with its
// heap, whatever else the threads that made it have allocated meanwhile.
class ChunkSource final : public std::pmr::memory_resource {
    static constexpr std::size_t kLeastMapping = std::size_t{32} << 10;

    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        if (bytes < kLeastMapping) return std::pmr::new_delete_resource()->allocate(bytes, alignment);
        void* chunk = MapPages(bytes);
        if (chunk == nullptr) throw std::bad_alloc();
        return chunk;
    }
    void do_deallocate(void* chunk, std::size_t bytes, std::size_t alignment) override {
        if (bytes < kLeastMapping)
            return std::pmr::new_delete_resource()->deallocate(chunk, bytes, alignment);
        ASAN_UNPOISON_MEMORY_REGION(chunk, bytes);  // somebody else's next
        UnmapPages(chunk, bytes);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
};

ChunkSource& Chunks() {
    static auto& source = *new ChunkSource;  // heaps may outlive the statics
    return source;
}

// One pool under one lock. The library's synchronised pool keeps a pool per thread as well, and touches that
// at the end of the thread, which crashes if the heap is destroyed at that moment: here heaps do go while
// threads end.
class HeapObject final : public Object {
  public:
    static constexpr ObjectType kType = ObjectType::Heap;

    explicit HeapObject(SIZE_T limit) : Object(kType), limit_(limit) {}

    void* Allocate(SIZE_T size) {
        BlockHeader* header = Take(size);
        if (header == nullptr) return nullptr;
        void* block = header + 1;
        // A build with AddressSanitizer sees the use of a freed block, and of what was added to round a block
        // up.
        ASAN_POISON_MEMORY_REGION(block, FootprintOf(size) - sizeof(BlockHeader));
        ASAN_UNPOISON_MEMORY_REGION(block, size);
        return std::memset(block, 0, size);
    }

    // False for what isn't a live block of this heap.
    bool Free(void* block) {
        BlockHeader* header = static_cast<BlockHeader*>(block) - 1;
        const std::lock_guard lock(mutex_);
        if (header->heap != id_ || header->mark != header->MarkAs(BlockHeader::kLive)) return false;
        header->mark = header->MarkAs(BlockHeader::kFreed);
        const SIZE_T footprint = FootprintOf(header->size);
        ASAN_POISON_MEMORY_REGION(block, footprint - sizeof(BlockHeader));
        used_ -= footprint;
        spares_.Put(header, footprint, pool_);
        return true;
    }

  private:
    BlockHeader* Take(SIZE_T size) {
        if (size > kMostBytes) return nullptr;
        const SIZE_T footprint = FootprintOf(size);
        const std::lock_guard lock(mutex_);
        if (limit_ != 0 && footprint > limit_ - used_) return nullptr;
        try {
            BlockHeader* header = spares_.Take(footprint);
            if (header == nullptr)
                header = static_cast<BlockHeader*>(pool_.allocate(footprint, alignof(BlockHeader)));
            *header = {{size}, id_, header->MarkAs(BlockHeader::kLive)};
            used_ += footprint;
            return header;
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

    static std::uint32_t NextId() {
        static std::atomic<std::uint32_t> last{0};
        return ++last;
    }

    const SIZE_T limit_;  // 0 for none
    const std::uint32_t id_ = NextId();
    std::mutex mutex_;  // guards what follows, and the headers
    SIZE_T used_ = 0;
    std::pmr::unsynchronized_pool_resource pool_{kPoolOptions, &Chunks()};
    SpareBlocks spares_;
};

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

}  // namespace

HANDLE WINAPI HeapCreate(DWORD, SIZE_T initialSize, SIZE_T maximumSize) {
    constexpr SIZE_T kAddressSpace = SIZE_T{1} << 31;
    if (maximumSize != 0 && maximumSize < initialSize) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (initialSize >= kAddressSpace) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return PublishObject(MakeObject<HeapObject>(maximumSize));
}

LPVOID WINAPI HeapAlloc(HANDLE handle, DWORD, SIZE_T size) {
    const Ref<HeapObject> heap = LookUpObject<HeapObject>(handle);
    if (!heap) return nullptr;
    void* block = heap->Allocate(size);
    if (block == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return block;
}

BOOL WINAPI HeapFree(HANDLE handle, DWORD, LPVOID block) {
    const Ref<HeapObject> heap = LookUpObject<HeapObject>(handle);
    if (!heap) return FALSE;
    if (block == nullptr || (MayBeBlock(block) && heap->Free(block))) return TRUE;
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

BOOL WINAPI HeapDestroy(HANDLE heap) {
    if (!CloseObjectHandle(heap, ObjectType::Heap)) return FALSE;
    ReturnFreeMemory();
    return TRUE;
}
