// Local time, taken apart once a second in each thread. Within the layer only.
#pragma once

#include <time.h>

// The parts of `second` in the time zone of this moment: tzset with another TZ shows at once. Valid until the
// calling thread's next call.
const tm& LocalTime(time_t second);

timespec RealTime();
