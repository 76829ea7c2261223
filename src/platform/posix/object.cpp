#include "platform/posix/object.h"

#include <array>
#include <mutex>
#include <optional>

#include "platform/posix/wait.h"

static_assert(sizeof(HANDLE) == 8, "a handle value carries a place and a generation of 30 bits each");

// One place of the table. The state is generation << 32 | open << 31 | pins; an open handle is one pin
// itself. The object's reference goes when the handle is closed and nobody pins the place any more. A place
// is never freed, so that a lookup may try its luck on it at any time.
struct HandleSlot {
    std::atomic<std::uint64_t> state{0};
    union {
        Object* object = nullptr;  // while there are pins
        HandleSlot* nextFree;
    };
    std::uint32_t index = 0;
};

namespace {

constexpr std::uint64_t kOpen = std::uint64_t{1} << 31;
constexpr std::uint32_t kGenerations = std::uint32_t{1} << 30;
constexpr std::size_t kChunkSlots = 4096;
constexpr std::size_t kChunks = 4096;

// Values are multiples of 4, as on Windows, never 0, and never negative as the pseudo handles and predefined
// keys are.
HANDLE HandleOf(std::uint32_t index, std::uint64_t generation) {
    return reinterpret_cast<HANDLE>(generation << 32 | (std::uint64_t{index} + 1) << 2);
}

}  // namespace

class HandleTable {
  public:
    HANDLE Publish(Ref<Object> object) {
        object->handles_.fetch_add(1, std::memory_order_relaxed);
        return Open(std::move(object));
    }

    Ref<Object> LookUp(HANDLE handle) {
        HandleSlot* slot = nullptr;
        Object* object = Pin(handle, slot);
        if (object != nullptr) return Ref<Object>::AdoptPin(object, slot);
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }

    void Unpin(HandleSlot* slot) {
        const std::uint64_t before = slot->state.fetch_sub(1, std::memory_order_acq_rel);
        if (static_cast<std::uint32_t>(before) != 1) return;
        Object* object = slot->object;
        Free(slot, before >> 32);
        object->ReleaseReference();
    }

    HANDLE Duplicate(HANDLE handle) {
        const Ref<Object> object = LookUp(handle);
        if (object && KeepsOpen(*object)) return Open(object);
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }

    bool Close(HANDLE handle, std::optional<ObjectType> type) {
        HandleSlot* slot = nullptr;
        Object* object = Pin(handle, slot);
        if (object != nullptr) {
            const bool closed = (!type || object->Type() == *type) &&
                                (slot->state.fetch_and(~kOpen, std::memory_order_acq_rel) & kOpen) != 0;
            if (closed) {
                DropHandle(*object);
                Unpin(slot);
            }
            Unpin(slot);
            if (closed) return true;
        }
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }

  private:
    Object* Pin(HANDLE handle, HandleSlot*& slot) {
        const auto value = reinterpret_cast<std::uintptr_t>(handle);
        const std::uint64_t generation = value >> 32;
        const std::size_t index = static_cast<std::uint32_t>(value) / 4 - std::size_t{1};
        slot = value % 4 == 0 ? SlotAt(index) : nullptr;
        if (slot == nullptr) return nullptr;
        std::uint64_t state = slot->state.load(std::memory_order_relaxed);
        do {
            if (state >> 32 != generation || (state & kOpen) == 0) return nullptr;
        } while (!slot->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                                    std::memory_order_relaxed));
        return slot->object;
    }

    HandleSlot* SlotAt(std::size_t index) {
        if (index >= kChunks * kChunkSlots) return nullptr;
        HandleSlot* chunk = chunks_[index / kChunkSlots].load(std::memory_order_acquire);
        return chunk == nullptr ? nullptr : chunk + index % kChunkSlots;
    }

    // One more handle, unless the last one has gone already.
    static bool KeepsOpen(Object& object) {
        std::uint32_t handles = object.handles_.load(std::memory_order_relaxed);
        while (handles != 0)
            if (object.handles_.compare_exchange_weak(handles, handles + 1, std::memory_order_relaxed))
                return true;
        return false;
    }

    static void DropHandle(Object& object) {
        if (object.handles_.fetch_sub(1, std::memory_order_acq_rel) == 1) object.OnLastHandleClosed();
    }

    HANDLE Open(Ref<Object> object) {
        HandleSlot* slot = Take();
        if (slot == nullptr) {
            DropHandle(*object);
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        const std::uint64_t generation = slot->state.load(std::memory_order_relaxed) >> 32;
        slot->object = object.Detach();
        slot->state.store(generation << 32 | kOpen | 1, std::memory_order_release);
        return HandleOf(slot->index, generation);
    }

    // The place that has been free for longest, or else a new one.
    HandleSlot* Take() {
        const std::lock_guard lock(mutex_);
        if (HandleSlot* slot = firstFree_; slot != nullptr) {
            firstFree_ = slot->nextFree;
            if (firstFree_ == nullptr) lastFree_ = nullptr;
            return slot;
        }
        if (used_ % kChunkSlots == 0 && !AddChunk()) return nullptr;
        HandleSlot* slot = SlotAt(used_);
        slot->index = static_cast<std::uint32_t>(used_++);
        slot->state.store(std::uint64_t{1} << 32, std::memory_order_relaxed);
        return slot;
    }

    bool AddChunk() {
        if (used_ == kChunks * kChunkSlots) return false;
        auto* chunk = new (std::nothrow) HandleSlot[kChunkSlots];
        chunks_[used_ / kChunkSlots].store(chunk, std::memory_order_release);
        return chunk != nullptr;
    }

    void Free(HandleSlot* slot, std::uint64_t generation) {
        const std::uint64_t next = generation + 1 < kGenerations ? generation + 1 : 1;
        const std::lock_guard lock(mutex_);
        slot->state.store(next << 32, std::memory_order_relaxed);
        slot->nextFree = nullptr;
        (lastFree_ == nullptr ? firstFree_ : lastFree_->nextFree) = slot;
        lastFree_ = slot;
    }

    std::array<std::atomic<HandleSlot*>, kChunks> chunks_{};  // grows, never moves
    std::mutex mutex_;                                        // guards what follows
    std::size_t used_ = 0;
    HandleSlot* firstFree_ = nullptr;
    HandleSlot* lastFree_ = nullptr;
};

namespace {

// Constant-initialised and trivially destroyed: threads that outlive main may still use it.
constinit HandleTable table;
static_assert(std::is_trivially_destructible_v<HandleTable>);

}  // namespace

void Object::ReleaseReference() {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

DWORD Object::Wait(DWORD) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

void UnpinHandleSlot(HandleSlot* slot) {
    table.Unpin(slot);
}

HANDLE PublishObject(Ref<Object> object) {
    return object ? table.Publish(std::move(object)) : nullptr;
}

Ref<Object> LookUpAnyObject(HANDLE handle) {
    return table.LookUp(handle);
}

Ref<Object> LookUpObjectOfType(HANDLE handle, ObjectType type) {
    Ref<Object> object = LookUpAnyObject(handle);
    if (!object || object->Type() == type) return object;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

HANDLE DuplicateObjectHandle(HANDLE handle) {
    return table.Duplicate(handle);
}

bool CloseObjectHandle(HANDLE handle, ObjectType type) {
    return table.Close(handle, type);
}

bool CloseAnyObjectHandle(HANDLE handle) {
    return table.Close(handle, std::nullopt);
}
