#include "load_result.h"

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

double Quantile(const std::vector<std::uint32_t>& sorted, double part) {
    if (sorted.empty()) return 0;
    const auto at = static_cast<std::size_t>(part * static_cast<double>(sorted.size()));
    return sorted[std::min(at, sorted.size() - 1)] / 1e3;
}

double Microseconds(std::chrono::nanoseconds time) {
    return static_cast<double>(time.count()) / 1e3;
}

}  // namespace

std::string ToJson(LoadResult* result) {
    std::sort(result->latencies.begin(), result->latencies.end());
    const auto replies = static_cast<double>(result->latencies.size());
    const double seconds = Microseconds(result->measured) / 1e6;
    const double share = std::max(replies, 1.0);
    char text[512];
    std::snprintf(text, sizeof text,
                  R"({"replies": %zu, "replies_per_second": %.1f, "p50_us": %.2f, "p99_us": %.2f, )"
                  R"("server_cpu_us": %.3f, "load_cpu_us": %.3f, "load_busy": %.3f, )"
                  R"("longest_gap_ms": %.3f, "lost": %llu, "wrong": %llu})",
                  result->latencies.size(), seconds > 0 ? replies / seconds : 0,
                  Quantile(result->latencies, 0.5), Quantile(result->latencies, 0.99),
                  Microseconds(result->serverCpu) / share, Microseconds(result->loadCpu) / share,
                  seconds > 0 ? Microseconds(result->loadCpu) / 1e6 / seconds : 0,
                  Microseconds(result->longestGap) / 1e3, static_cast<unsigned long long>(result->lost),
                  static_cast<unsigned long long>(result->wrong));
    return text;
}

}  // namespace bench
