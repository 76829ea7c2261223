// The events that the service has reported since a moment.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace quillonctl {

// Marks the moment of its making. In a home of its own it reads events.log there, else it asks the journal.
class EventTail {
  public:
    EventTail();

    // The lines since, the last few if there are many; none if this user can't read them.
    // With a number, as in 0xC000001C, only those of that event.
    std::vector<std::string> Lines(const std::string& number = {}) const;

    // How to see them by hand.
    static std::string Hint();

  private:
    off_t offset_;
    std::chrono::microseconds time_;  // since the epoch, as finely as the journal has it
};

}  // namespace quillonctl
