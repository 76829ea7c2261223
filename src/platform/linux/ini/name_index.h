// Finds names without case in a text that stays where it is. Within the layer only.
//
// An open-addressing table of 8 bytes a slot, three quarters full. A slot holds the hash of a name and the
// number under which the owner of the text knows it; the owner compares the names themselves. Built once,
// then read by any number of threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

class NameIndex {
  public:
    static constexpr std::uint32_t None = 0xFFFFFFFFu;
    static constexpr std::size_t MaxNames = 0x80000000u;

    NameIndex() = default;
    // For `count` names at the most. Throws std::bad_alloc, also for more than MaxNames.
    explicit NameIndex(std::size_t count) {
        if (count > MaxNames) throw std::bad_alloc();
        capacity_ = count + count / 3 + 1;
        slots_.reset(new Slot[capacity_]);
    }

    // The number of the name with this hash that `isSame(number)` accepts; None if there is none.
    template <class IsSame>
    std::uint32_t Find(std::uint32_t hash, IsSame isSame) const {
        return capacity_ == 0 ? None : Locate(hash, isSame).number;
    }

    // Adds a name under `number`, unless one is there that `isSame` accepts: the first one stays.
    template <class IsSame>
    void AddIfNew(std::uint32_t hash, std::uint32_t number, IsSame isSame) {
        Slot& slot = Locate(hash, isSame);
        if (slot.number == None) slot = Slot{hash, number};
    }

  private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = None;
    };

    // The slot of the name, or the free one where it belongs. There is always a free one.
    template <class IsSame>
    Slot& Locate(std::uint32_t hash, IsSame isSame) const {
        std::uint64_t place = std::uint64_t{hash} * capacity_ >> 32;
        for (;; place = place + 1 == capacity_ ? 0 : place + 1) {
            Slot& slot = slots_[place];
            if (slot.number == None || (slot.hash == hash && isSame(slot.number))) return slot;
        }
    }

    std::unique_ptr<Slot[]> slots_;
    std::uint64_t capacity_ = 0;  // fits in 32 bits
};
