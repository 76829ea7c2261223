// Why the service of this home couldn't be asked, or didn't do it.
#pragma once

#include <string>

#include "platform/linux/faces/types.h"

namespace quillonctl {

// The exit status that goes with the error of a control or a report; 0 for none.
int ControlStatus(DWORD error);

// Says it and gives the status on. `what` was asked by the control socket.
int ComplainOfControl(const std::string& what, DWORD error);

}  // namespace quillonctl
