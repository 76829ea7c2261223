#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "class_a/standard/CException.h"
#include "class_a/standard/CGeneralPtr.h"
#include "class_a/standard/CGuard.h"
#include "class_a/standard/CNRMutex.h"

namespace {

using namespace ksl;

struct Pointee {
    explicit Pointee(std::atomic<int>& counter) : destroyed(counter) {}
    virtual ~Pointee() { ++destroyed; }
    std::atomic<int>& destroyed;
    int value = 7;
};

template <class T>
class Borrower : public CLockedOwnershipPolicy<T, 0> {
  public:
    using CLockedOwnershipPolicy<T, 0>::CLockedOwnershipPolicy;
};

template <template <class> class Owner>
using Pointer = CGeneralPtr<Pointee, Owner, CNoMethodLockPolicy, CNoObjectLockPolicy,
                            CConstructorDeepCopyPolicy, CLockProxy>;
using Shared = Pointer<CMTOwnerPolicy>;

TEST(GeneralPointer, DestroysThePointeeWithItsLastHolder) {
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    {
        Shared holder(new Pointee(first));
        {
            Shared copy(holder);
            const Shared again(copy);
            copy = again;  // both hold the same
            const Shared& self = copy;
            copy = self;
            EXPECT_EQ(copy->value, 7);
        }
        EXPECT_EQ(first, 0);
        Shared other(new Pointee(second));
        holder = other;
        EXPECT_EQ(first, 1);
        other = Shared(nullptr);
        EXPECT_EQ(second, 0);
        EXPECT_EQ(holder->value, 7);
    }
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

TEST(GeneralPointer, LeavesWhatItOnlyBorrows) {
    std::atomic<int> destroyed = 0;
    Pointee pointee(destroyed);
    {
        const Pointer<Borrower> holder(&pointee);
        const Pointer<Borrower> copy(holder);
        EXPECT_EQ(copy->value, 7);
    }
    EXPECT_EQ(destroyed, 0);
}

TEST(GeneralPointer, GivesOnePointeeByEveryOperator) {
    std::atomic<int> destroyed = 0;
    auto* const pointee = new Pointee(destroyed);
    Shared holder(pointee);
    const Shared constant(holder);
    auto proxy = *holder;
    const auto constantProxy = *constant;
    EXPECT_EQ(*proxy, pointee);
    EXPECT_EQ(*constantProxy, pointee);
    EXPECT_EQ(proxy.operator->(), pointee);
    EXPECT_EQ(constantProxy.operator->(), pointee);
    EXPECT_EQ(holder->value, 7);
    EXPECT_EQ(constant->value, 7);
}

TEST(GeneralPointer, RefusesToDereferenceNull) {
    Shared empty(nullptr);
    const Shared constant(empty);
    const auto expect = [](const void* object, const std::string& className, const char* function,
                           const auto& run) {
        try {
            run();
            ADD_FAILURE() << function;
        } catch (CException& failure) {
            EXPECT_EQ(failure.text(), "Cannot dereference pointer. (Pointee is null.)");
            EXPECT_EQ(failure.function(), function);
            EXPECT_EQ(failure.object(), object);
            EXPECT_TRUE(failure.location().starts_with(className + ", class_a/standard/CGeneralPtr.cpp, "))
                << failure.location();
        }
    };
    const std::string name = typeid(&empty).name();
    const std::string constantName = typeid(&constant).name();
    EXPECT_NE(name, constantName);
    expect(&empty, name, "CGeneralPtr::operator*", [&] { *empty; });
    expect(&constant, constantName, "CGeneralPtr::operator*", [&] { *constant; });
    expect(&empty, name, "CGeneralPtr::operator->", [&] { (void)empty->value; });
    expect(&constant, constantName, "CGeneralPtr::operator->", [&] { (void)constant->value; });
}

TEST(GeneralPointer, CountsUnderThreads) {
    std::atomic<int> destroyed = 0;
    {
        std::vector<std::thread> threads;
        const Shared holder(new Pointee(destroyed));
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([copy = holder] {
                for (int round = 0; round < 2000; ++round) {
                    Shared mine(copy);
                    Shared other(nullptr);
                    other = mine;
                    EXPECT_EQ(other->value, 7);
                }
            });
        }
        for (std::thread& each : threads)
            each.join();
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(Mutex, ExcludesAndSaysNothing) {
    testing::internal::CaptureStderr();
    CNRMutex mutex;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    long count = 0;  // not atomic: the mutex is all that guards it
    const auto add = [&] {
        for (int i = 0; i < 100000; ++i) {
            const CGuard<CNRMutex> guard(mutex);
            count = count + 1;
        }
    };
    std::thread first(add);
    std::thread second(add);
    first.join();
    second.join();
    EXPECT_EQ(count, 200000);

    // A holder keeps others out for as long as it holds, and no longer.
    std::atomic<bool> entered = false;
    mutex.acquire();
    std::thread waiter([&] {
        const CGuard<CNRMutex> guard(mutex);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered);
    mutex.release();
    waiter.join();
    EXPECT_TRUE(entered);
}

}  // namespace
