// The asking end of the control socket. Within the layer, and for the operator's command.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/linux/instance/control_protocol.h"

// Longer than the handler of a pause may wait for its turn.
inline constexpr std::chrono::milliseconds ControlPatience{7000};

// Sends `control` to the service behind the socket at `path` and gives its reply. Without a process behind it
// nothing, with ERROR_SERVICE_NOT_ACTIVE in `error`; ERROR_SERVICE_REQUEST_TIMEOUT if the process didn't
// answer in time, or the reason why it couldn't be asked.
std::optional<ControlReply> AskService(const std::string& path, DWORD control, DWORD& error,
                                       std::chrono::milliseconds patience = ControlPatience);
