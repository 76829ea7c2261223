#include "platform/linux/objects/object.h"

#include <array>
#include <mutex>
#include <optional>

#include "platform/linux/faces/wait.h"
#include "platform/linux/memory/page_memory.h"
#include "platform/prefetch.h"

static_assert(sizeof(HANDLE) == 8, "a handle value carries a place and a generation of 30 bits each");

namespace {

constexpr std::uint64_t OpenMark = HandleSlot::OpenMark;
constexpr std::uint32_t Generations = std::uint32_t{1} << 30;

// Values are multiples of 4, as on Windows, never 0, and never negative as the pseudo handles and predefined
// keys are.
HANDLE HandleOf(std::uint32_t index, std::uint64_t generation) {
    return reinterpret_cast<HANDLE>(generation << 32 | (std::uint64_t{index} + 1) << 2);
}

}  // namespace

constinit HandlePlaces handlePlaces;

class HandleTable {
  public:
    HANDLE Publish(Ref<Object> object) {
        object->handles_.fetch_add(1, std::memory_order_relaxed);
        if (!object->livesInTable_) return Open(std::move(object));
        HandleSlot* slot = HandleSlot::OfHome(object.Get());
        if ((slot->state.load(std::memory_order_relaxed) & OpenMark) != 0) return Open(std::move(object));
        return OpenAt(slot, object.Detach());
    }

    void Leave(HandleSlot* slot) {
        Object* object = slot->Tenant();
        if (!slot->isHome) Free(slot);
        object->ReleaseReference();
    }

    HANDLE Duplicate(HANDLE handle) {
        const Ref<Object> object = LookUpAnyObject(handle);
        if (object && KeepsOpen(*object)) return Open(object);
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }

    bool Close(HANDLE handle, std::optional<ObjectType> type) {
        HandleSlot* slot = PinHandle(handle);
        if (slot != nullptr) {
            Object* object = slot->Tenant();
            const bool closed = (!type || object->Type() == *type) &&
                                (slot->state.fetch_and(~OpenMark, std::memory_order_acq_rel) & OpenMark) != 0;
            if (closed) {
                DropHandle(*object);
                UnpinHandleSlot(slot);
            }
            UnpinHandleSlot(slot);
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
    static HandleSlot* TakeNew() {
        const std::size_t index = handlePlaces.used.load(std::memory_order_relaxed);
        if (index % HandlePlaces::ChunkSlots == 0 && !Grow(index / HandlePlaces::ChunkSlots)) return nullptr;
        HandleSlot* slot = new (handlePlaces.At(index)) HandleSlot;
        slot->index = static_cast<std::uint32_t>(index);
        slot->state.store(std::uint64_t{1} << 32, std::memory_order_relaxed);
        handlePlaces.used.store(index + 1, std::memory_order_release);
        return slot;
    }

    static bool Grow(std::size_t chunk) {
        if (chunk == HandlePlaces::MostChunks) return false;
        HandleSlot*& slots = handlePlaces.chunks[chunk];
        if (slots == nullptr)
            slots = static_cast<HandleSlot*>(MapLeakRoots(HandlePlaces::ChunkSlots * sizeof(HandleSlot)));
        return slots != nullptr;
    }

    std::mutex mutex_;  // guards what follows, and growing
    HandleSlot* firstFree_ = nullptr;
    HandleSlot* lastFree_ = nullptr;
};

namespace {

// Constant-initialised and trivially destroyed, both: threads that outlive main may still use them.
constinit HandleTable table;
static_assert(std::is_trivially_destructible_v<HandleTable> &&
              std::is_trivially_destructible_v<HandlePlaces>);

}  // namespace

void Object::ReleaseReference() {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

DWORD Object::Wait(DWORD) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

void PrefetchMutex(HANDLE mutex) {
    if (const HandleSlot* slot = handlePlaces.Of(mutex); slot != nullptr) __builtin_prefetch(slot);
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

void LeaveHandleSlot(HandleSlot* slot) {
    table.Leave(slot);
}

void RefuseHandle(HandleSlot* slot) {
    if (slot != nullptr) UnpinHandleSlot(slot);
    SetLastError(ERROR_INVALID_HANDLE);
}

HANDLE PublishObject(Ref<Object> object) {
    return object ? table.Publish(std::move(object)) : nullptr;
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
