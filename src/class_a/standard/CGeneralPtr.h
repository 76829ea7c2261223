#pragma once

#include <cstdint>
#include <memory>
#include <typeinfo>
#include <utility>

namespace ksl {

// The count of the holders of one pointee, and the mutex that guards it. Made with a count of 0 by the first
// holder.
struct COwnershipBlock;
COwnershipBlock* make_ownership_block();
void destroy_ownership_block(COwnershipBlock* block);
void add_owner(COwnershipBlock& block);
std::uint32_t remove_owner(COwnershipBlock& block);  // the new count

// Throws the CException for a dereference of null.
[[noreturn]] void throw_null_pointee(const char* className, const char* function, const void* object);

// Counted ownership of a pointee, safe between threads. With an `Owner` of 1 the last holder destroys the
// pointee, with 0 it leaves it alone. Whoever derives from it says when the count changes; a copy of the
// policy shares the count.
template <class T, int Owner>
class CLockedOwnershipPolicy {
  public:
    // Takes over `object`, null for none, even if it throws.
    explicit CLockedOwnershipPolicy(T* object) : _object(object) {
        if (object == nullptr) return;
        std::unique_ptr<T, Release> keep(object);
        _counter = make_ownership_block();
        keep.release();
    }
    CLockedOwnershipPolicy(const CLockedOwnershipPolicy&) = default;
    CLockedOwnershipPolicy& operator=(const CLockedOwnershipPolicy&) = default;
    virtual ~CLockedOwnershipPolicy() = default;

  protected:
    // There must be an object.
    void incRef() const { add_owner(*_counter); }
    std::uint32_t decRef() const { return remove_owner(*_counter); }

    void destroyCounter() {
        if (_counter != nullptr) destroy_ownership_block(std::exchange(_counter, nullptr));
    }

    // What becomes of the pointee when its last holder goes.
    struct Release {
        void operator()(T* pointee) const {
            if constexpr (Owner != 0) delete pointee;
        }
    };

  private:
    T* _object;
    COwnershipBlock* _counter = nullptr;  // shared by all holders
};

template <class T>
class CMTOwnerPolicy : public CLockedOwnershipPolicy<T, 1> {
  public:
    using CLockedOwnershipPolicy<T, 1>::CLockedOwnershipPolicy;
};

// Stands between a pointer's operators and the pointee for the length of one expression.
template <class T, class LockPolicy>
class CLockProxy {
  public:
    CLockProxy(T* pointee, const LockPolicy* policy) : _pointee(pointee), _policy(policy) {}
    CLockProxy(const CLockProxy&) = default;
    CLockProxy& operator=(const CLockProxy&) = default;

    virtual T* operator*() { return _pointee; }
    virtual T* operator*() const { return _pointee; }
    virtual T* operator->() { return _pointee; }
    virtual T* operator->() const { return _pointee; }
    virtual ~CLockProxy() { _pointee = nullptr; }

  private:
    T* _pointee;
    const LockPolicy* _policy;
};

// Locks nothing round the call of a method.
template <class T>
class CNoMethodLockPolicy {
  public:
    explicit CNoMethodLockPolicy(T* object) : _object(object) {}
    CNoMethodLockPolicy(const CNoMethodLockPolicy&) = default;
    CNoMethodLockPolicy& operator=(const CNoMethodLockPolicy&) = default;
    virtual ~CNoMethodLockPolicy() = default;

    void lockMethod() const {}
    void unlockMethod() const {}

  protected:
    CLockProxy<T, CNoMethodLockPolicy<T>> proxy() const { return {_object, this}; }

  private:
    T* _object;
};

// Locks nothing of the object.
template <class T>
class CNoObjectLockPolicy {
  public:
    explicit CNoObjectLockPolicy(T* object) : _object(object) {}
    CNoObjectLockPolicy(const CNoObjectLockPolicy&) = default;
    CNoObjectLockPolicy& operator=(const CNoObjectLockPolicy&) = default;
    virtual ~CNoObjectLockPolicy() = default;

    void lockObject() const {}
    void unlockObject() const {}

  private:
    T* _object;
};

// A deep copy of the pointee would be one by its copy constructor. Nothing asks for one: a copy of the
// pointer shares.
template <class T>
class CConstructorDeepCopyPolicy {};

// A shared pointer made of policies: who owns the pointee, what locks a method, what locks the object, how a
// deep copy is made, and what the operators return.
//
// The count may change from any thread; one pointer object belongs to one thread at a time, and what the
// pointee allows is its own affair.
template <class T, template <class> class OwnerPolicy, template <class> class MethodLockPolicy,
          template <class> class ObjectLockPolicy, template <class> class CopyPolicy,
          template <class, class> class Proxy>
class CGeneralPtr : public OwnerPolicy<T>,
                    public MethodLockPolicy<T>,
                    public ObjectLockPolicy<T>,
                    public CopyPolicy<T> {
    using MethodProxy = Proxy<T, MethodLockPolicy<T>>;

  public:
    // Takes over `pointee`; null makes an empty pointer.
    CGeneralPtr(T* pointee)
        : OwnerPolicy<T>(pointee),
          MethodLockPolicy<T>(pointee),
          ObjectLockPolicy<T>(pointee),
          _pointee(pointee) {
        if (_pointee != nullptr) this->incRef();
    }

    // Share the pointee.
    CGeneralPtr(const CGeneralPtr& other)
        : OwnerPolicy<T>(other),
          MethodLockPolicy<T>(other),
          ObjectLockPolicy<T>(other),
          CopyPolicy<T>(other),
          _pointee(other._pointee) {
        if (_pointee != nullptr) this->incRef();
    }
    // `other` may be this pointer, or a part of what this one holds, as in `head = head->next`.
    CGeneralPtr& operator=(const CGeneralPtr& other) {
        CGeneralPtr taken(other);
        _swap(taken);  // what this pointer held goes with `taken`, when all is in place
        return *this;
    }

    virtual ~CGeneralPtr() { _release(); }

    // True if there is no pointee.
    bool empty() const { return _pointee == nullptr; }

    // All four throw a CException if there is no pointee.
    virtual MethodProxy operator*() { return _dereference(typeid(this).name(), "CGeneralPtr::operator*"); }
    virtual MethodProxy operator*() const {
        return _dereference(typeid(this).name(), "CGeneralPtr::operator*");
    }
    virtual MethodProxy operator->() { return _dereference(typeid(this).name(), "CGeneralPtr::operator->"); }
    virtual MethodProxy operator->() const {
        return _dereference(typeid(this).name(), "CGeneralPtr::operator->");
    }

  private:
    MethodProxy _dereference(const char* className, const char* function) const {
        if (_pointee == nullptr) throw_null_pointee(className, function, this);
        return this->proxy();
    }

    void _swap(CGeneralPtr& other) {
        std::swap(static_cast<OwnerPolicy<T>&>(*this), static_cast<OwnerPolicy<T>&>(other));
        std::swap(static_cast<MethodLockPolicy<T>&>(*this), static_cast<MethodLockPolicy<T>&>(other));
        std::swap(static_cast<ObjectLockPolicy<T>&>(*this), static_cast<ObjectLockPolicy<T>&>(other));
        std::swap(static_cast<CopyPolicy<T>&>(*this), static_cast<CopyPolicy<T>&>(other));
        std::swap(_pointee, other._pointee);
    }

    void _release() {
        if (_pointee == nullptr || this->decRef() != 0) return;
        this->destroyCounter();
        typename OwnerPolicy<T>::Release()(std::exchange(_pointee, nullptr));
    }

    T* _pointee;
};

}  // namespace ksl
