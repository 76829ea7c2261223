// Counted objects, and the table of the handles that name them. Within the layer only.
//
// An object lives as long as somebody holds a Ref to it or a handle of it is open. A handle value is a place
// in the table and a generation, so that the value of a closed handle names nothing, also after its place has
// been taken again. HKEY, SOCKET and SC_HANDLE are such values too, cast. All operations may be called from
// any thread; a lookup takes no lock.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/linux/faces/types.h"

enum class ObjectType : std::uint8_t {
    Mutex,
    Event,
    Thread,
    File,
    Heap,
    EventSource,
    RegistryKey,
    Socket,
    ServiceManager,
    Service,
    ServiceStatus,
    AddressChange,
    Timer
};

class HandleTable;

// Where an object may live: on the heap, or in the table itself, next to what its first handle needs.
enum class ObjectHome : bool { Heap, Table };

// A derived class that is looked up has `static constexpr ObjectType OwnType`.
class Object {
  public:
    explicit Object(ObjectType type, ObjectHome home = ObjectHome::Heap)
        : type_(type), livesInTable_(home == ObjectHome::Table) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    ObjectType Type() const { return type_; }

    // Called once, by the thread that closes the last handle, with no lock held. Others may still be using
    // the object: this is where it wakes those who wait on it.
    virtual void OnLastHandleClosed() {}

    // Returns as WaitForSingleObject does. What can't be waited for fails with ERROR_INVALID_HANDLE.
    virtual DWORD Wait(DWORD milliseconds);

    void AddReference() { references_.fetch_add(1, std::memory_order_relaxed); }
    void ReleaseReference();  // the last one deletes the object

  private:
    friend class HandleTable;

    std::atomic<std::uint32_t> references_{1};  // the creator's
    std::atomic<std::uint32_t> handles_{0};
    const ObjectType type_;
    const bool livesInTable_;
};

// Memory for an object that lives in the table: `operator new` and `operator delete` of its class. It has
// Object as its first base and no more than ObjectHomeSize bytes.
inline constexpr std::size_t ObjectHomeSize = 48;
void* AllocateInTable();  // throws std::bad_alloc
void FreeInTable(void* home);

// One place of the table. The state is generation << 32 | open << 31 | pins; an open handle is one pin
// itself. The handle's reference to the object goes when the handle is closed and no one pins the place any
// more. A place is never freed, so that a lookup may try its luck on it at any time.
//
// Objects of which there are as many as clients live in their place: one line of the cache has all that it
// takes to find and use one.
struct alignas(64) HandleSlot {
    static constexpr std::uint64_t OpenMark = std::uint64_t{1} << 31;

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

// All places. The table grows by a chunk at a time, and a chunk stays: what a lookup reads of it was written
// before `used` covered it, and never changes.
struct HandlePlaces {
    static constexpr std::size_t ChunkSlots = 4096;
    static constexpr std::size_t MostChunks = 4096;

    std::atomic<std::size_t> used{0};  // grows
    std::array<HandleSlot*, MostChunks> chunks{};

    // Of a place that has been used, which is where its chunk is known.
    HandleSlot* At(std::size_t index) const { return chunks[index / ChunkSlots] + index % ChunkSlots; }

    // Null for a value that no handle has ever had.
    HandleSlot* Of(HANDLE handle) const {
        const auto value = reinterpret_cast<std::uintptr_t>(handle);
        const std::size_t index = static_cast<std::uint32_t>(value) / 4 - std::size_t{1};
        return value % 4 == 0 && index < used.load(std::memory_order_acquire) ? At(index) : nullptr;
    }
};
extern HandlePlaces handlePlaces;

// Whether the handle, which has had a place with that state, is open.
inline bool IsOpenIn(std::uint64_t state, HANDLE handle) {
    return state >> 32 == reinterpret_cast<std::uintptr_t>(handle) >> 32 &&
           (state & HandleSlot::OpenMark) != 0;
}

// The place of an open handle, which stays as it is until it is unpinned; null for any other value.
inline HandleSlot* PinHandle(HANDLE handle) {
    HandleSlot* slot = handlePlaces.Of(handle);
    if (slot == nullptr) return nullptr;
    std::uint64_t state = slot->state.load(std::memory_order_relaxed);
    do {
        if (!IsOpenIn(state, handle)) return nullptr;
    } while (!slot->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                                std::memory_order_relaxed));
    return slot;
}

void LeaveHandleSlot(HandleSlot* slot);  // the last pin has gone

inline void UnpinHandleSlot(HandleSlot* slot) {
    const std::uint64_t before = slot->state.fetch_sub(1, std::memory_order_acq_rel);
    if (static_cast<std::uint32_t>(before) == 1) LeaveHandleSlot(slot);
}

// A counted reference. One that came from a lookup holds the place of the handle instead of the count in the
// object, which spares an atomic operation each way; a copy of it counts as usual.
template <class T>
class Ref {
  public:
    Ref() = default;
    Ref(std::nullptr_t) {}
    ~Ref() { Reset(); }

    // Takes over a reference that the caller has.
    static Ref Adopt(T* object) { return Ref(object, nullptr); }
    // Adds a reference.
    static Ref Share(T* object) {
        if (object != nullptr) object->AddReference();
        return Ref(object, nullptr);
    }
    // Takes over a pin of the handle's place.
    static Ref AdoptPin(T* object, HandleSlot* pin) { return Ref(object, pin); }

    Ref(const Ref& other) : Ref(Share(other.object_)) {}
    Ref(Ref&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), pin_(std::exchange(other.pin_, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ref(const Ref<U>& other) : Ref(Share(other.Get())) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ref(Ref<U>&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), pin_(std::exchange(other.pin_, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        std::swap(pin_, other.pin_);
        return *this;
    }

    T* Get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

    void Reset() {
        T* object = std::exchange(object_, nullptr);
        if (HandleSlot* pin = std::exchange(pin_, nullptr); pin != nullptr)
            UnpinHandleSlot(pin);
        else if (object != nullptr)
            object->ReleaseReference();
    }

    // Gives the reference to the caller, who has to release it.
    [[nodiscard]] T* Detach() {
        if (pin_ != nullptr) *this = Ref(*this);
        return std::exchange(object_, nullptr);
    }

  private:
    template <class U>
    friend class Ref;
    Ref(T* object, HandleSlot* pin) : object_(object), pin_(pin) {}

    T* object_ = nullptr;
    HandleSlot* pin_ = nullptr;
};

// Null and ERROR_NOT_ENOUGH_MEMORY if there is no memory for it.
template <class T, class... Arguments>
Ref<T> MakeObject(Arguments&&... arguments) {
    try {
        return Ref<T>::Adopt(new T(std::forward<Arguments>(arguments)...));
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

// Opens a handle of the object. Null for a null reference, and null with ERROR_NOT_ENOUGH_MEMORY if the table
// is full.
HANDLE PublishObject(Ref<Object> object);

// Unpins the place, if it isn't null, and sets ERROR_INVALID_HANDLE.
void RefuseHandle(HandleSlot* slot);

// The object of an open handle; null and ERROR_INVALID_HANDLE for any other value. The object stays while the
// reference is held, whoever closes the handle meanwhile.
inline Ref<Object> LookUpAnyObject(HANDLE handle) {
    HandleSlot* slot = PinHandle(handle);
    if (slot != nullptr) return Ref<Object>::AdoptPin(slot->Tenant(), slot);
    RefuseHandle(slot);
    return nullptr;
}

// The same for objects of one class.
template <class T>
Ref<T> LookUpObject(HANDLE handle) {
    HandleSlot* slot = PinHandle(handle);
    Object* object = slot != nullptr ? slot->Tenant() : nullptr;
    if (object != nullptr && object->Type() == T::OwnType)
        return Ref<T>::AdoptPin(static_cast<T*>(object), slot);
    RefuseHandle(slot);
    return nullptr;
}

// A second handle of the object that `handle` names; null and ERROR_INVALID_HANDLE, or
// ERROR_NOT_ENOUGH_MEMORY.
HANDLE DuplicateObjectHandle(HANDLE handle);

// False and ERROR_INVALID_HANDLE for what isn't an open handle, or not one of that type.
bool CloseObjectHandle(HANDLE handle, ObjectType type);
bool CloseAnyObjectHandle(HANDLE handle);
