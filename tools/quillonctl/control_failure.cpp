#include "quillonctl/control_failure.h"

#include "platform/linux/events/system_text.h"
#include "platform/linux/faces/service_manager.h"
#include "platform/linux/instance/home.h"
#include "quillonctl/complaint.h"

namespace quillonctl {

int ControlStatus(DWORD error) {
    switch (error) {
        case ERROR_SUCCESS:
            return ExitDone;
        case ERROR_INVALID_SERVICE_CONTROL:
        case ERROR_SERVICE_CANNOT_ACCEPT_CTRL:
            return ExitRefused;
        case ERROR_SERVICE_NOT_ACTIVE:
        case ERROR_SERVICE_REQUEST_TIMEOUT:
            return ExitNoService;
        default:
            return ExitFailed;
    }
}

int ComplainOfControl(const std::string& what, DWORD error) {
    return Complain(what + " by " + PathOf(HomePlace::ControlSocket) + ": " + SystemText(error) + " (error " +
                        std::to_string(error) + ")",
                    ControlStatus(error));
}

}  // namespace quillonctl
