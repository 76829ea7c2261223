// Counted objects, and the table of the handles that name them. Within the layer only.
//
// An object lives as long as somebody holds a Ref to it or a handle of it is open. A handle value is a place
// in the table and a generation, so that the value of a closed handle names nothing, also after its place has
// been taken again. HKEY, SOCKET and SC_HANDLE are such values too, cast. All operations may be called from
// any thread; a lookup takes no lock.
#pragma once

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
struct HandleSlot;

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

void UnpinHandleSlot(HandleSlot* slot);

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

    // The same reference under a type that the caller has made sure of.
    template <class U>
    Ref<U> CastTo() && {
        return Ref<U>::AdoptPin(static_cast<U*>(std::exchange(object_, nullptr)),
                                std::exchange(pin_, nullptr));
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

// The object of an open handle; null and ERROR_INVALID_HANDLE for any other value. The object stays while the
// reference is held, whoever closes the handle meanwhile.
Ref<Object> LookUpAnyObject(HANDLE handle);
Ref<Object> LookUpObjectOfType(HANDLE handle, ObjectType type);

template <class T>
Ref<T> LookUpObject(HANDLE handle) {
    return LookUpObjectOfType(handle, T::OwnType).template CastTo<T>();
}

// A second handle of the object that `handle` names; null and ERROR_INVALID_HANDLE, or
// ERROR_NOT_ENOUGH_MEMORY.
HANDLE DuplicateObjectHandle(HANDLE handle);

// False and ERROR_INVALID_HANDLE for what isn't an open handle, or not one of that type.
bool CloseObjectHandle(HANDLE handle, ObjectType type);
bool CloseAnyObjectHandle(HANDLE handle);
