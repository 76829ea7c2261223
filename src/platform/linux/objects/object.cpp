#include "platform/linux/objects/object.h"

#include <array>
#include <mutex>
#include <optional>

#include "platform/linux/faces/wait.h"
#include "platform/linux/memory/page_memory.h"
#include "platform/prefetch.h"

static_assert(sizeof(HANDLE) == 8, "a handle value carries a place and a generation of 30 bits each");

// One place of the table. The state is generation << 32 | open << 31 | pins; an open handle is one pin
// itself. The handle's reference to the object goes when the handle is closed and no one pins the place any
// more. A place is never freed, so that a lookup may try its luck on it at any time.
//
// Objects of which there are as many as clients live in their place: one line of the cache has all that it
// takes to find and use one.
struct alignas(64) HandleSlot {
    std::atomic<std::uint64_t> state{0};
    std::uint32_t index = 0;
    bool isHome = false;  // the object lives here
    union {
        Object* object = nullptr;  // elsewhere; while there are pins
        HandleSlot* nextFree;
        alignas(8) std::byte home[ObjectHomeSize];
    };

    Object* Tenant() { return isHome ? reinterpret_cast<Object*>(home) : object; }
    static HandleSlot* OfHome(void* home) {
        return reinterpret_cast<HandleSlot*>(static_cast<std::byte*>(home) - offsetof(HandleSlot, home));
    }
};
static_assert(sizeof(HandleSlot) == 64);

namespace {

constexpr std::uint64_t OpenMark = std::uint64_t{1} << 31;
constexpr std::uint32_t Generations = std::uint32_t{1} << 30;
constexpr std::size_t ChunkSlots = 4096;
constexpr std::size_t MostChunks = 4096;

// Values are multiples of 4, as on Windows, never 0, and never negative as the pseudo handles and predefined
// keys are.
HANDLE HandleOf(std::uint32_t index, std::uint64_t generation) {
    return reinterpret_cast<HANDLE>(generation << 32 | (std::uint64_t{index} + 1) << 2);
}

std::size_t IndexOf(HANDLE handle) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle)) / 4 - std::size_t{1};
}

}  // namespace

class HandleTable {
  public:
    HANDLE Publish(Ref<Object> object) {
        object->handles_.fetch_add(1, std::memory_order_relaxed);
        if (!object->livesInTable_) return Open(std::move(object));
        HandleSlot* slot = HandleSlot::OfHome(object.Get());
        if ((slot->state.load(std::memory_order_relaxed) & OpenMark) != 0) return Open(std::move(object));
        return OpenAt(slot, object.Detach());
    }

    void Prefetch(HANDLE handle) const {
        if (IndexOf(handle) < used_.load(std::memory_order_acquire))
            __builtin_prefetch(SlotAt(IndexOf(handle)));
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
        Object* object = slot->Tenant();
        if (!slot->isHome) Free(slot);
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
                                (slot->state.fetch_and(~OpenMark, std::memory_order_acq_rel) & OpenMark) != 0;
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

    // The place that has been free for longest, or else a new one; null if there is none.
    HandleSlot* Take() {
        const std::lock_guard lock(mutex_);
        HandleSlot* slot = firstFree_;
        if (slot == nullptr) return TakeNew();
        firstFree_ = slot->nextFree;
        if (firstFree_ == nullptr) lastFree_ = nullptr;
        return slot;
    }

    // A place whose handle, if it had one, is closed and pinned by no one.
    void Free(HandleSlot* slot) {
        const std::lock_guard lock(mutex_);
        const std::uint64_t generation = slot->state.load(std::memory_order_relaxed) >> 32;
        const std::uint64_t next = generation + 1 < Generations ? generation + 1 : 1;
        slot->state.store(next << 32, std::memory_order_relaxed);
        slot->isHome = false;
        slot->nextFree = nullptr;
        (lastFree_ == nullptr ? firstFree_ : lastFree_->nextFree) = slot;
        lastFree_ = slot;
    }

  private:
    // Of a place that has been used, which is where its chunk is known.
    HandleSlot* SlotAt(std::size_t index) const { return chunks_[index / ChunkSlots] + index % ChunkSlots; }

    Object* Pin(HANDLE handle, HandleSlot*& slot) {
        const auto value = reinterpret_cast<std::uintptr_t>(handle);
        const std::uint64_t generation = value >> 32;
        const std::size_t index = IndexOf(handle);
        if (value % 4 != 0 || index >= used_.load(std::memory_order_acquire)) return nullptr;
        slot = SlotAt(index);
        std::uint64_t state = slot->state.load(std::memory_order_relaxed);
        do {
            if (state >> 32 != generation || (state & OpenMark) == 0) return nullptr;
        } while (!slot->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                                    std::memory_order_relaxed));
        return slot->Tenant();
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
        return OpenAt(slot, object.Detach());
    }

    // Takes over the caller's reference.
    static HANDLE OpenAt(HandleSlot* slot, Object* object) {
        const std::uint64_t generation = slot->state.load(std::memory_order_relaxed) >> 32;
        if (!slot->isHome) slot->object = object;
        slot->state.store(generation << 32 | OpenMark | 1, std::memory_order_release);
        return HandleOf(slot->index, generation);
    }

    // The caller holds mutex_.
    HandleSlot* TakeNew() {
        const std::size_t index = used_.load(std::memory_order_relaxed);
        if (index % ChunkSlots == 0 && !Grow(index / ChunkSlots)) return nullptr;
        HandleSlot* slot = new (SlotAt(index)) HandleSlot;
        slot->index = static_cast<std::uint32_t>(index);
        slot->state.store(std::uint64_t{1} << 32, std::memory_order_relaxed);
        used_.store(index + 1, std::memory_order_release);
        return slot;
    }

    bool Grow(std::size_t chunk) {
        if (chunk == MostChunks) return false;
        if (chunks_[chunk] == nullptr)
            chunks_[chunk] = static_cast<HandleSlot*>(MapLeakRoots(ChunkSlots * sizeof(HandleSlot)));
        return chunks_[chunk] != nullptr;
    }

    // The table grows by a chunk at a time, and a chunk stays: what a lookup reads of it was written before
    // used_ covered it, and never changes.
    std::array<HandleSlot*, MostChunks> chunks_{};
    std::atomic<std::size_t> used_{0};  // grows
    std::mutex mutex_;                  // guards what follows, and growing
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

void PrefetchMutex(HANDLE mutex) {
    table.Prefetch(mutex);
}

void* AllocateInTable() {
    HandleSlot* slot = table.Take();
    if (slot == nullptr) throw std::bad_alloc();
    slot->isHome = true;
    return slot->home;
}

void FreeInTable(void* home) {
    table.Free(HandleSlot::OfHome(home));
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
