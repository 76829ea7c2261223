#include "platform/linux/memory/block_pool.h"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <new>

#include "platform/linux/memory/page_memory.h"

namespace {

constexpr std::size_t LargestPiece = std::size_t{16} << 20;

// From there on a piece is a mapping of its own, so that it goes back to the system with its heap, whatever
// else the threads that made it have allocated meanwhile.
constexpr std::size_t LeastMapping = std::size_t{32} << 10;

}  // namespace

BlockPool::~BlockPool() {
    while (Piece* piece = pieces_.First())
        RemovePiece(piece);
}

BlockHeader* BlockPool::Take(std::size_t footprint) {
    if (footprint > LargestSmall) {
        Piece* piece = AddPiece(sizeof(Piece) + footprint);
        return piece == nullptr ? nullptr : reinterpret_cast<BlockHeader*>(piece + 1);
    }
    BlockHeader*& free = free_[footprint / Unit];
    if (free != nullptr) {
        BlockHeader* header = free;
        free = header->nextFree;
        return header;
    }
    if (left_ < footprint && !AddRoom()) return nullptr;
    auto* header = reinterpret_cast<BlockHeader*>(room_);
    room_ += footprint;
    left_ -= footprint;
    return header;
}

void BlockPool::Put(BlockHeader* header, std::size_t footprint) {
    if (footprint > LargestSmall) return RemovePiece(reinterpret_cast<Piece*>(header) - 1);
    header->nextFree = free_[footprint / Unit];
    free_[footprint / Unit] = header;
}

// What is left of the former piece stays unused; it is less than one small block.
bool BlockPool::AddRoom() {
    Piece* piece = AddPiece(nextPiece_);
    if (piece == nullptr) return false;
    room_ = reinterpret_cast<std::byte*>(piece + 1);
    left_ = nextPiece_ - sizeof(Piece);
    nextPiece_ = std::min(nextPiece_ * 2, LargestPiece);
    return true;
}

BlockPool::Piece* BlockPool::AddPiece(std::size_t bytes) {
    void* memory = bytes < LeastMapping ? ::operator new(bytes, std::nothrow) : MapPages(bytes);
    if (memory == nullptr) return nullptr;
    auto* piece = new (memory) Piece{{}, bytes};
    pieces_.Append(*piece);
    return piece;
}

void BlockPool::RemovePiece(Piece* piece) {
    pieces_.Remove(*piece);
    const std::size_t bytes = piece->bytes;
    ASAN_UNPOISON_MEMORY_REGION(piece, bytes);  // somebody else's next
    if (bytes < LeastMapping)
        ::operator delete(piece);
    else
        UnmapPages(piece, bytes);
}
