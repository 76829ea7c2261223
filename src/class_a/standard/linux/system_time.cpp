#include <limits>
#include <mutex>

#include "class_a/standard/detail/system_time.h"

namespace ksl {

static_assert(sizeof(std::time_t) == sizeof(std::int64_t));

static bool split(std::tm* (*convert)(const std::time_t*, std::tm*), std::int64_t seconds, std::tm& fields) {
    const std::time_t moment = seconds;
    std::tm split = {};
    if (convert(&moment, &split) == nullptr) return false;
    if (split.tm_year > std::numeric_limits<int>::max() - 1900) return false;
    fields = split;
    return true;
}

bool utc_fields(std::int64_t seconds, std::tm& fields) {
    return split(gmtime_r, seconds, fields);
}

// The zone is read from the environment into data that the whole process shares. The C library has a lock for
// it, but not over a pair of calls, and tools that look for races don't see it.
static std::mutex& zone_mutex() {
    static std::mutex* const mutex = new std::mutex();  // outlives all objects in static storage
    return *mutex;
}

bool local_fields(std::int64_t seconds, std::tm& fields) {
    const std::lock_guard<std::mutex> guard(zone_mutex());
    // Unlike mktime, localtime_r need not look at the zone again by itself.
    tzset();
    return split(localtime_r, seconds, fields);
}

std::size_t format_fields(char* buffer, std::size_t size, const char* format, const std::tm& fields) {
    const std::lock_guard<std::mutex> guard(zone_mutex());
// The format is the caller's, out of the compiler's sight.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    return std::strftime(buffer, size, format, &fields);
#pragma GCC diagnostic pop
}

}  // namespace ksl
