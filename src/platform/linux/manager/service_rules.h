// What follows from a service's status: which controls it takes, and what its manager hears. Within the
// layer.
#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/faces/service_manager.h"

// 0 if a service in this status takes the control, else the error that its sender gets. A state of 0 stands
// for a service that has not reported anything yet.
DWORD WhyControlRefused(const SERVICE_STATUS& status, DWORD control);

// Whether the status is one that a service may report.
bool IsValidStatus(const SERVICE_STATUS& status);

// The notification that goes with the step from `previous` to `status`, in the form of sd_notify. A running
// service that reports RUNNING with a wait hint is reloading, until it reports RUNNING without one.
// `monotonicMicroseconds` is the time of the step, which the manager wants to know of a reload.
std::string NotificationOf(const SERVICE_STATUS& previous, const SERVICE_STATUS& status,
                           std::uint64_t monotonicMicroseconds);
