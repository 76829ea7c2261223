#include "platform/linux/objects/mutex_line.h"

#include <array>
#include <type_traits>

#include "platform/linux/objects/futex.h"

namespace {

constexpr std::size_t Lines = 64;

// Constant-initialised and trivially destroyed: threads that outlive main may still use them.
constinit std::array<MutexLine, Lines> lines;
static_assert(std::is_trivially_destructible_v<MutexLine>);

}  // namespace

MutexLine& MutexLine::Of(const MutexObject& mutex) {
    constexpr std::size_t Spacing = 64;  // of mutexes that live in the handle table
    return lines[reinterpret_cast<std::uintptr_t>(&mutex) / Spacing % Lines];
}

MutexWaiter* MutexLine::FirstOf(const MutexObject& mutex) const {
    MutexWaiter* waiter = waiters_.First();
    while (waiter != nullptr && &waiter->mutex != &mutex)
        waiter = waiter->links.next;
    return waiter;
}

void MutexLine::Add(MutexWaiter& waiter) {
    if (waiter.passedOver != 0)
        waiters_.Prepend(waiter);
    else
        waiters_.Append(waiter);
}

// The thread may have left with its stack before it is woken; the system then wakes no thread, or one that
// looks and sleeps on.
void CallWaiter(MutexWaiter& waiter, MutexWaiter::Call call) {
    waiter.call.store(call, std::memory_order_release);
    FutexWake(waiter.call, 1);
}
