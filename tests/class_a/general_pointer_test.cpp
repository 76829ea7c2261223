#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "class_a/standard/CException.h"
#include "class_a/standard/CGeneralPtr.h"
#include "class_a/standard/CGuard.h"
#include "class_a/standard/CNRMutex.h"
#include "class_a/standard/detail/ownership_block.h"

namespace {

using namespace ksl;

template <class T, template <class> class Owner = CMTOwnerPolicy>
using Pointer =
    CGeneralPtr<T, Owner, CNoMethodLockPolicy, CNoObjectLockPolicy, CConstructorDeepCopyPolicy, CLockProxy>;

struct Pointee {
    explicit Pointee(std::atomic<int>& counter) : destroyed(counter) {}
    virtual ~Pointee() { ++destroyed; }
    std::atomic<int>& destroyed;
    int value = 7;
};

using Shared = Pointer<Pointee>;

template <class T>
class Borrower : public CLockedOwnershipPolicy<T, 0> {
  public:
    using CLockedOwnershipPolicy<T, 0>::CLockedOwnershipPolicy;
};

TEST(GeneralPointer, DestroysThePointeeWithItsLastHolder) {
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    {
        Shared holder(new Pointee(first));
        const Shared& self = holder;
        holder = self;  // the only holder there is
        EXPECT_EQ(first, 0);
        {
            Shared copy(holder);
            const Shared again(copy);
            copy = again;  // both hold the same
            EXPECT_EQ(copy->value, 7);
        }
        EXPECT_EQ(first, 0);
        Shared other(new Pointee(second));
        holder = other;
        EXPECT_EQ(first, 1);
        other = Shared(nullptr);
        EXPECT_TRUE(other.empty() && !holder.empty());
        EXPECT_EQ(second, 0);
        EXPECT_EQ(holder->value, 7);
    }
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);

    std::atomic<int> borrowed = 0;
    Pointee pointee(borrowed);
    {
        const Pointer<Pointee, Borrower> holder(&pointee);
        const Pointer<Pointee, Borrower> copy(holder);
        EXPECT_EQ(copy->value, 7);
    }
    EXPECT_EQ(borrowed, 0);
}

struct Node : Pointee {
    Node(std::atomic<int>& counter, Node* following) : Pointee(counter), next(following) {}
    static void* operator new(std::size_t size) { return ::operator new(size); }
    // Leaves nothing to be read where a node was.
    static void operator delete(void* block, std::size_t size) {
        std::fill_n(static_cast<volatile char*>(block), size, '\0');
        ::operator delete(block);
    }
    Pointer<Node> next;
};

TEST(GeneralPointer, MayTakeAPartOfItsPointee) {
    std::atomic<int> destroyed = 0;
    Pointer<Node> head(new Node(destroyed, new Node(destroyed, nullptr)));
    head = head->next;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(head->value, 7);
    head = head->next;
    EXPECT_EQ(destroyed, 2);
    EXPECT_TRUE(head.empty());
}

TEST(GeneralPointer, GivesOnePointeeByEveryOperator) {
    std::atomic<int> destroyed = 0;
    auto* const pointee = new Pointee(destroyed);
    Shared holder(pointee);
    const Shared constant(holder);
    auto proxy = *holder;
    const auto constantProxy = *constant;
    for (Pointee* const each : {*proxy, *constantProxy, proxy.operator->(), constantProxy.operator->(),
                                holder.operator->().operator->(), constant.operator->().operator->()})
        EXPECT_EQ(each, pointee);
}

TEST(GeneralPointer, RefusesToDereferenceNull) {
    Shared empty(nullptr);
    const Shared constant(empty);
    const auto expect = [](auto* object, const char* function, const auto& run) {
        try {
            run();
            ADD_FAILURE() << function;
        } catch (const CException& failure) {
            EXPECT_EQ(failure.text(), "Cannot dereference pointer. (Pointee is null.)");
            EXPECT_EQ(failure.function(), function);
            EXPECT_EQ(failure.object(), object);
            EXPECT_TRUE(failure.location().starts_with(std::string(typeid(object).name()) +
                                                       ", class_a/standard/CGeneralPtr.cpp, "));
        }
    };
    expect(&empty, "CGeneralPtr::operator*", [&] { *empty; });
    expect(&constant, "CGeneralPtr::operator*", [&] { *constant; });
    expect(&empty, "CGeneralPtr::operator->", [&] { (void)empty->value; });
    expect(&constant, "CGeneralPtr::operator->", [&] { (void)constant->value; });
}

TEST(GeneralPointer, CountsUnderThreads) {
    std::atomic<int> destroyed = 0;
    std::vector<std::jthread> threads;
    {
        const Shared holder(new Pointee(destroyed));
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([copy = holder] {
                for (int round = 0; round < 2000; ++round)
                    EXPECT_EQ(Shared(copy)->value, 7);
            });
    }
    threads.clear();
    EXPECT_EQ(destroyed, 1);
}

// Runs `enter` on a thread while `lock` is held, and checks `before` then and `after` once it is released.
template <class Enter, class Value>
void expect_to_wait(CNRMutex& lock, const Enter& enter, const Value& value, Value before, Value after) {
    std::atomic<bool> started = false;
    lock.acquire();
    std::thread waiter([&] {
        started = true;
        enter();
    });
    while (!started)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(value, before);
    lock.release();
    waiter.join();
    EXPECT_EQ(value, after);
}

TEST(Mutex, GuardsEachChangeOfACount) {
    COwnershipBlock* const block = make_ownership_block();
    expect_to_wait(
        block->lock, [&] { add_owner(*block); }, block->count, 0U, 1U);
    expect_to_wait(
        block->lock, [&] { remove_owner(*block); }, block->count, 1U, 0U);
    destroy_ownership_block(block);
}

TEST(Mutex, ExcludesAndSaysNothing) {
    testing::internal::CaptureStderr();
    CNRMutex mutex;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    bool entered = false;  // not atomic: the mutex is all that guards it
    expect_to_wait(
        mutex,
        [&] {
            const CGuard<CNRMutex> guard(mutex);
            entered = true;
        },
        entered, false, true);
}

}  // namespace
