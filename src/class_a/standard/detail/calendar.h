#pragma once

#include <cstdint>
#include <ctime>

// Dates as moments, by the same rules on every platform.
namespace ksl {

// The moment of a UTC date in seconds since the epoch; fields out of range carry over. -1 if the platform
// could not split it again.
std::int64_t utc_seconds(const std::tm& fields);

// The same for a date in the time zone of the process; `tm_isdst` isn't looked at. Where the clock changes,
// the offset from before the change counts. So a time that the clock shows twice is the first of the two, and
// 2:30 in a gap from 2:00 to 3:00 is 3:30.
std::int64_t local_seconds(const std::tm& fields);

}  // namespace ksl
