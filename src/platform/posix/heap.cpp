#include "platform/posix/heap.h"

#include <malloc.h>
#include <sanitizer/asan_interface.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <mutex>
#include <new>
#include <optional>

#include "platform/posix/object.h"
#include "platform/posix/pages.h"

namespace {

// In front of each block. The mark depends on the place, so that neither a copied header nor stale memory
// passes.
struct alignas(16) BlockHeader {
    union {
        std::uint64_t size;      // as asked for
        BlockHeader* nextSpare;  // of a freed block
    };
    std::uint32_t heap;
    std::uint32_t mark;
};
static_assert(sizeof(BlockHeader) == 16);

constexpr std::uint32_t kLive = 0x51A11B0C;
constexpr std::uint32_t kFreed = 0xDEADB10C;

std::uint32_t MarkAt(const BlockHeader* header, std::uint32_t state) {
    return state ^ static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(header) >> 4);
}

constexpr SIZE_T kMostBytes = SIZE_T{1} << 40;  // of one block

// The pool aligns to 16 only what is a multiple of 16, and nothing below 32.
constexpr SIZE_T FootprintOf(SIZE_T size) {
    return sizeof(BlockHeader) + (size == 0 ? std::size_t{16} : (size + 15) / 16 * 16);
}

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

// Freed blocks that will be asked for again at once, as those of a datagram are: to take one from here is a
// fraction of the pool's work. One size has a few of them; another of the same remainder takes its place.
class SpareBlocks {
  public:
    // Null if there is none of that size.
    BlockHeader* Take(SIZE_T footprint) {
        Size& size = SizeOf(footprint);
        if (size.footprint != footprint || size.first == nullptr) return nullptr;
        BlockHeader* header = size.first;
        size.first = header->nextSpare;
        --size.count;
        return header;
    }

    void Put(BlockHeader* header, SIZE_T footprint, std::pmr::memory_resource& pool) {
        Size& size = SizeOf(footprint);
        if (size.footprint != footprint) {
            while (BlockHeader* other = Take(size.footprint))
                pool.deallocate(other, size.footprint, alignof(BlockHeader));
            size.footprint = footprint;
        }
        if (size.count == kMost || footprint > kLargest)
            return pool.deallocate(header, footprint, alignof(BlockHeader));
        header->nextSpare = size.first;
        size.first = header;
        ++size.count;
    }

  private:
    static constexpr SIZE_T kSizes = 16;
    static constexpr unsigned kMost = 16;
    static constexpr SIZE_T kLargest = 8192;

    struct Size {
        SIZE_T footprint = 0;
        BlockHeader* first = nullptr;
        unsigned count = 0;
    };

    Size& SizeOf(SIZE_T footprint) { return sizes_[footprint / alignof(BlockHeader) % kSizes]; }

    std::array<Size, kSizes> sizes_;
};

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
        if (header->heap != id_ || header->mark != MarkAt(header, kLive)) return false;
        header->mark = MarkAt(header, kFreed);
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
            *header = {{size}, id_, MarkAt(header, kLive)};
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

// What a heap has held goes back to the system and not only to the allocator, which would keep it in as many
// places as there are threads: a service that builds its heaps anew again and again would grow with each.
BOOL WINAPI HeapDestroy(HANDLE heap) {
    if (!CloseObjectHandle(heap, ObjectType::Heap)) return FALSE;
    malloc_trim(0);
    return TRUE;
}
