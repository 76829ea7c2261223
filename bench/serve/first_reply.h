// Waiting for a server that is just starting.
#pragma once

#include <chrono>
#include <optional>

#include "closed_loop.h"

namespace bench {

// Asks every two milliseconds until the first right reply is there, and returns when that was, on the steady
// clock; none within `limit`. Throws std::system_error.
std::optional<std::chrono::steady_clock::time_point> AwaitFirstReply(const LoopSettings& settings,
                                                                     std::chrono::milliseconds limit);

}  // namespace bench
