// Sleeping on a word of memory. Within the layer only.
#pragma once

#include <atomic>
#include <climits>
#include <cstdint>

#include "platform/linux/objects/deadline.h"

enum class FutexOutcome {
    Woken,    // by FutexWake, or by chance
    Retry,    // the word had another value, or a signal came: look again
    TimedOut  // the deadline has passed
};

// Sleeps while the word has the value.
FutexOutcome FutexWait(std::atomic<std::uint32_t>& word, std::uint32_t value, const Deadline& deadline);

// Wakes the threads that have slept longest; returns how many.
inline constexpr unsigned AllSleepers = INT_MAX;
unsigned FutexWake(std::atomic<std::uint32_t>& word, unsigned count);
