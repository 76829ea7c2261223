// The asking end of the control socket. Within the layer, and for the operator's command.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/linux/instance/control_protocol.h"
#include "platform/service_report.h"

// Longer than the handler of a pause may wait for its turn.
inline constexpr std::chrono::milliseconds ControlPatience{7000};

// Sends `control` to the service behind the socket at `path` and gives its reply. Without a process behind it
// nothing, with ERROR_SERVICE_NOT_ACTIVE in `error`; ERROR_SERVICE_REQUEST_TIMEOUT if the process didn't
// answer in time, or the reason why it couldn't be asked.
std::optional<ControlReply> AskService(const std::string& path, DWORD control, DWORD& error,
                                       std::chrono::milliseconds patience = ControlPatience);

// All pages of a report. `about` is what the question is about, for a report that needs it; one that is too
// long for the request is ERROR_INVALID_PARAMETER. Nothing on failure, with `error` as above, or what the
// service answered.
std::optional<std::string> AskReport(const std::string& path, ServiceReport report, const std::string& about,
                                     DWORD& error, std::chrono::milliseconds patience = ControlPatience);
