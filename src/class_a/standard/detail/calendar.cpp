#include "class_a/standard/detail/calendar.h"

#include "class_a/standard/detail/system_time.h"

namespace ksl {

namespace {

constexpr std::int64_t kNoMoment = -1;
constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kDaysOf400Years = 146097;
constexpr std::int64_t kEpoch = 719468;  // 1970-01-01 in days since 0000-03-01

std::int64_t floor_quotient(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// Days since 1970-01-01 of the first of a month, which counts from 0. A year that begins in March has its
// leap day at the end.
std::int64_t days_of(std::int64_t year, std::int64_t month) {
    if (month < 2) --year;
    const std::int64_t era = floor_quotient(year, 400);
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * ((month + 10) % 12) + 2) / 5;
    return era * kDaysOf400Years + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - kEpoch;
}

// The seconds from the epoch to the date, as a clock without zone counts them.
std::int64_t clock_seconds(const std::tm& fields) {
    const std::int64_t months = (std::int64_t{1900} + fields.tm_year) * 12 + fields.tm_mon;
    const std::int64_t year = floor_quotient(months, 12);
    const std::int64_t days = days_of(year, months - year * 12) + fields.tm_mday - 1;
    return days * kDay + std::int64_t{3600} * fields.tm_hour + std::int64_t{60} * fields.tm_min +
           fields.tm_sec;
}

// How far the clock of the zone is ahead of UTC at a moment. False if the platform can't split it.
bool offset_at(std::int64_t moment, std::int64_t& offset) {
    std::tm fields = {};
    if (!local_fields(moment, fields)) return false;
    offset = clock_seconds(fields) - moment;
    return true;
}

}  // namespace

std::int64_t utc_seconds(const std::tm& fields) {
    const std::int64_t moment = clock_seconds(fields);
    std::tm split = {};
    return utc_fields(moment, split) ? moment : kNoMoment;
}

// Not mktime: what it gives around a change of the clock depends on the call before, and on the platform.
std::int64_t local_seconds(const std::tm& fields) {
    const std::int64_t clock = clock_seconds(fields);
    std::int64_t offset = 0;
    // No zone is a day from UTC, so a day ahead of the clock's time is a moment before it. The first and the
    // last dates of the platform have a moment on one side only.
    if (!offset_at(clock - kDay, offset) && !offset_at(clock, offset) && !offset_at(clock + kDay, offset))
        return kNoMoment;
    const std::int64_t byOffsetBefore = clock - offset;
    std::int64_t moment = byOffsetBefore;
    for (int tries = 0; tries < 3; ++tries) {
        if (!offset_at(moment, offset)) return kNoMoment;
        if (moment + offset == clock) return moment;
        moment = clock - offset;
    }
    return byOffsetBefore;
}

}  // namespace ksl
