// The blocks of a private heap: what stands in front of each, and the freed ones that are kept. Within the
// layer only; guarded by the heap.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory_resource>

// In front of each block. The mark depends on the place, so that neither a copied header nor stale memory
// passes.
struct alignas(16) BlockHeader {
    union {
        std::uint64_t size;      // as asked for
        BlockHeader* nextSpare;  // of a freed block
    };
    std::uint32_t heap;
    std::uint32_t mark;

    static constexpr std::uint32_t kLive = 0x51A11B0C;
    static constexpr std::uint32_t kFreed = 0xDEADB10C;
    std::uint32_t MarkAs(std::uint32_t state) const {
        return state ^ static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this) >> 4);
    }
};
static_assert(sizeof(BlockHeader) == 16);

// The pool aligns to 16 only what is a multiple of 16, and nothing below 32.
constexpr std::size_t FootprintOf(std::size_t size) {
    return sizeof(BlockHeader) + (size == 0 ? std::size_t{16} : (size + 15) / 16 * 16);
}

// Freed blocks that will be asked for again at once, as those of a datagram are: to take one from here is a
// fraction of the pool's work. One size has a few of them; another of the same remainder takes its place.
class SpareBlocks {
  public:
    // Null if there is none of that size.
    BlockHeader* Take(std::size_t footprint) {
        Size& size = SizeOf(footprint);
        if (size.footprint != footprint || size.first == nullptr) return nullptr;
        BlockHeader* header = size.first;
        size.first = header->nextSpare;
        --size.count;
        return header;
    }

    void Put(BlockHeader* header, std::size_t footprint, std::pmr::memory_resource& pool) {
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
    static constexpr std::size_t kSizes = 16;
    static constexpr unsigned kMost = 16;
    static constexpr std::size_t kLargest = 8192;

    struct Size {
        std::size_t footprint = 0;
        BlockHeader* first = nullptr;
        unsigned count = 0;
    };

    Size& SizeOf(std::size_t footprint) { return sizes_[footprint / alignof(BlockHeader) % kSizes]; }

    std::array<Size, kSizes> sizes_;
};
