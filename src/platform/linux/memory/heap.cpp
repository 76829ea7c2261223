#include "platform/linux/faces/heap.h"

#include <malloc.h>
#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "platform/linux/memory/block_pool.h"
#include "platform/linux/objects/object.h"

namespace {

constexpr SIZE_T MostBytes = SIZE_T{1} << 40;  // of one block

class HeapObject final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Heap;

    explicit HeapObject(SIZE_T limit) : Object(OwnType), limit_(limit) {}

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
        if (header->heap != id_ || header->mark != header->MarkAs(BlockHeader::Live)) return false;
        header->mark = header->MarkAs(BlockHeader::Freed);
        const SIZE_T footprint = FootprintOf(header->size);
        ASAN_POISON_MEMORY_REGION(block, footprint - sizeof(BlockHeader));
        used_ -= footprint;
        pool_.Put(header, footprint);
        return true;
    }

  private:
    BlockHeader* Take(SIZE_T size) {
        if (size > MostBytes) return nullptr;
        const SIZE_T footprint = FootprintOf(size);
        const std::lock_guard lock(mutex_);
        if (limit_ != 0 && footprint > limit_ - used_) return nullptr;
        BlockHeader* header = pool_.Take(footprint);
        if (header == nullptr) return nullptr;
        *header = {{size}, id_, header->MarkAs(BlockHeader::Live)};
        used_ += footprint;
        return header;
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
