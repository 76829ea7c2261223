// What a run of the load has seen, and its form for whoever evaluates it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct LoadResult {
    std::chrono::nanoseconds measured{0};
    std::vector<std::uint32_t> latencies;    // nanoseconds, one per reply
    std::uint64_t lost = 0;                  // no reply, or none that is right, within the patience
    std::uint64_t wrong = 0;                 // datagrams that are no reply to anything that was asked
    std::chrono::nanoseconds longestGap{0};  // between two replies
    std::chrono::nanoseconds serverCpu{0};
    std::chrono::nanoseconds loadCpu{0};
};

// A line of JSON: times in microseconds, the gap in milliseconds. Orders the latencies.
std::string ToJson(LoadResult* result);

}  // namespace bench
