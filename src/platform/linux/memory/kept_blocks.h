// The blocks that a thread has freed last, and gets again without asking their heap. Within the layer only.
//
// A thread that takes and frees blocks of the same sizes again and again, as one that serves requests does,
// so pays neither for finding the heap nor for its lock. To the heap a kept block is one in use: it may be
// kept only for a heap that has no limit, and the thread gives it back when it ends or turns to another heap.
#pragma once

#include <array>
#include <cstddef>

#include "platform/linux/memory/block_pool.h"
#include "platform/linux/objects/object.h"

class KeptBlocks {
  public:
    static constexpr std::size_t Most = 4;

    // Whether blocks of this heap are kept. Those of a heap that has been destroyed are gone with it: once it
    // isn't open, nothing of it is touched.
    bool IsOf(HANDLE heap) const {
        return heap == heap_ && place_ != nullptr &&
               IsOpenIn(place_->state.load(std::memory_order_acquire), heap);
    }

    // The heap's number in the headers of its blocks, for a heap that IsOf is true of.
    std::uint32_t HeapNumber() const { return number_; }

    // Null if none of that footprint is there. The caller has asked IsOf.
    BlockHeader* Take(std::size_t footprint) {
        for (Place& place : places_)
            if (place.footprint == footprint) {
                place.footprint = 0;
                return place.header;
            }
        return nullptr;
    }

    // False if there is no room. The caller has asked IsOf.
    bool Keep(BlockHeader* header, std::size_t footprint) {
        for (Place& place : places_)
            if (place.footprint == 0) {
                place = {header, footprint};
                return true;
            }
        return false;
    }

    // From now on blocks of that heap are kept; null ends it. `giveBack(header)` is called for each block
    // that was kept of another, whether or not that is still open.
    template <class GiveBack>
    void TurnTo(HANDLE heap, std::uint32_t number, GiveBack giveBack) {
        for (Place& place : places_) {
            if (place.footprint != 0) giveBack(place.header);
            place.footprint = 0;
        }
        heap_ = heap;
        place_ = handlePlaces.Of(heap);
        number_ = number;
    }

    HANDLE Heap() const { return heap_; }

  private:
    struct Place {
        BlockHeader* header = nullptr;
        std::size_t footprint = 0;  // 0: nothing is kept here
    };

    HANDLE heap_ = nullptr;
    const HandleSlot* place_ = nullptr;  // of the handle
    std::uint32_t number_ = 0;
    std::array<Place, Most> places_{};
};
