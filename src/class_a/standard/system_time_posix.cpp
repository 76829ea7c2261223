#include <limits>

#include "class_a/standard/system_time.h"

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

bool local_fields(std::int64_t seconds, std::tm& fields) {
    // Unlike mktime, localtime_r need not look at the zone again by itself.
    tzset();
    return split(localtime_r, seconds, fields);
}

std::int64_t utc_seconds(std::tm fields) {
    return timegm(&fields);
}

std::int64_t local_seconds(std::tm fields) {
    return std::mktime(&fields);
}

}  // namespace ksl
