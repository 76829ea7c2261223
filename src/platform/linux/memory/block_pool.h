// The blocks of a private heap. Within the layer only; guarded by the heap.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/linux/objects/intrusive_list.h"

// In front of each block. The mark depends on the place, so that neither a copied header nor stale memory
// passes.
struct alignas(16) BlockHeader {
    union {
        std::uint64_t size;     // as asked for
        BlockHeader* nextFree;  // of a freed block
    };
    std::uint32_t heap;
    std::uint32_t mark;

    static constexpr std::uint32_t Live = 0x51A11B0C;
    static constexpr std::uint32_t Freed = 0xDEADB10C;
    std::uint32_t MarkAs(std::uint32_t state) const {
        return state ^ static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this) >> 4);
    }
};
static_assert(sizeof(BlockHeader) == 16);

// What a block takes up with its header.
constexpr std::size_t FootprintOf(std::size_t size) {
    return sizeof(BlockHeader) + (size == 0 ? std::size_t{16} : (size + 15) / 16 * 16);
}

// Small blocks are cut one after the other from large pieces of memory; a freed one waits for the next of its
// size. Large blocks come from the system and go back there.
class BlockPool {
  public:
    BlockPool() = default;
    BlockPool(const BlockPool&) = delete;
    BlockPool& operator=(const BlockPool&) = delete;
    ~BlockPool();  // with all that is in it

    // Null without memory. What is in the block is undefined.
    BlockHeader* Take(std::size_t footprint);
    void Put(BlockHeader* header, std::size_t footprint);

  private:
    static constexpr std::size_t Unit = 16;
    static constexpr std::size_t LargestSmall = 8192;

    // At the front of each piece, and of each large block.
    struct alignas(16) Piece {
        ListLinks<Piece> links;
        std::size_t bytes;
    };

    Piece* AddPiece(std::size_t bytes);
    void RemovePiece(Piece* piece);
    bool AddRoom();

    std::array<BlockHeader*, LargestSmall / Unit + 1> free_{};
    std::byte* room_ = nullptr;
    std::size_t left_ = 0;
    std::size_t nextPiece_ = std::size_t{64} << 10;
    IntrusiveList<Piece, &Piece::links> pieces_;
};
