#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace ksl {

// Splits seconds since the epoch into the fields of a UTC date. False, with `fields` untouched, for a moment
// that the platform cannot split or whose year is no `int`. May be called from any thread, as all of these.
bool utc_fields(std::int64_t seconds, std::tm& fields);

// The same in the time zone of the process.
bool local_fields(std::int64_t seconds, std::tm& fields);

// strftime; the name of the zone is that of the process.
std::size_t format_fields(char* buffer, std::size_t size, const char* format, const std::tm& fields);

}  // namespace ksl
