#include "class_a/standard/detail/system_time.h"

namespace ksl {

static bool split(errno_t (*convert)(std::tm*, const __time64_t*), std::int64_t seconds, std::tm& fields) {
    const __time64_t moment = seconds;
    std::tm split = {};
    if (convert(&split, &moment) != 0) return false;
    fields = split;
    return true;
}

bool utc_fields(std::int64_t seconds, std::tm& fields) {
    return split(_gmtime64_s, seconds, fields);
}

bool local_fields(std::int64_t seconds, std::tm& fields) {
    return split(_localtime64_s, seconds, fields);
}

std::size_t format_fields(char* buffer, std::size_t size, const char* format, const std::tm& fields) {
    return std::strftime(buffer, size, format, &fields);
}

}  // namespace ksl
