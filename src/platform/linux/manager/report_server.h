// The answers to those who ask a service for a report. Within the layer.
#pragma once

#include <string>

#include "platform/linux/instance/control_protocol.h"

// One page, as the whole message that goes back: from the provider that is set, or with
// ERROR_SERVICE_CANNOT_ACCEPT_CTRL if there is none, ERROR_INVALID_PARAMETER if it doesn't know what is asked
// for.
std::string ReportPageFor(const ReportRequest& request);

// A message without a page.
std::string ReportRefusal(DWORD error);
