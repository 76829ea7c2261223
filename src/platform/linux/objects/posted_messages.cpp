#include "platform/linux/objects/posted_messages.h"

#include <new>

namespace {

constexpr DWORD QuotaExceeded = 1816;

}  // namespace

DWORD PostedMessages::Post(const MSG& message) {
    const std::lock_guard lock(mutex_);
    if (messages_.size() >= Limit) return QuotaExceeded;
    try {
        messages_.push_back(message);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    posted_.notify_one();
    return ERROR_SUCCESS;
}

void PostedMessages::WaitForUnannounced() {
    std::unique_lock lock(mutex_);
    posted_.wait(lock, [&] { return messages_.size() > announced_; });
    announced_ = messages_.size();
}

MSG PostedMessages::Take() {
    std::unique_lock lock(mutex_);
    posted_.wait(lock, [&] { return !messages_.empty(); });
    const MSG message = messages_.front();
    messages_.pop_front();
    if (announced_ != 0) --announced_;
    return message;
}
