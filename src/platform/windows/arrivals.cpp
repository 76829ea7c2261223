#include "platform/arrivals.h"

// The system hands out one datagram at a time.
ArrivalWatch::ArrivalWatch(Show show, const void* argument) : show_(show), argument_(argument) {}
ArrivalWatch::~ArrivalWatch() = default;

bool HaveMoreArrived() {
    return false;
}
