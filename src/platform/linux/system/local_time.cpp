#include "platform/linux/system/local_time.h"

namespace {

// What the C library took from TZ when tzset last ran. The texts of names live as long as the process, and a
// name keeps its place, so that the pointers tell.
struct Zone {
    long offset;
    const char* standard;
    const char* summer;

    bool operator==(const Zone&) const = default;
};

Zone CurrentZone() {
    return {timezone, tzname[0], tzname[1]};
}

struct Cached {
    bool isFilled = false;
    time_t second = 0;
    Zone zone{};
    tm parts{};
};

thread_local Cached cached;

}  // namespace

const tm& LocalTime(time_t second) {
    if (cached.isFilled && cached.second == second && cached.zone == CurrentZone()) return cached.parts;
    localtime_r(&second, &cached.parts);
    cached.second = second;
    cached.zone = CurrentZone();
    cached.isFilled = true;
    return cached.parts;
}

timespec RealTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}
