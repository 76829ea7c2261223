// The messages posted to one thread. Within the layer only.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

#include "platform/linux/faces/message_queue.h"

class PostedMessages {
  public:
    static constexpr std::size_t Limit = 10000;

    // By any thread. 0, or the error that says why not.
    DWORD Post(const MSG& message);

    // By the owner.
    void WaitForUnannounced();
    MSG Take();

  private:
    std::mutex mutex_;  // guards all that follows
    std::condition_variable posted_;
    std::deque<MSG> messages_;
    std::size_t announced_ = 0;  // so many at the head
};
