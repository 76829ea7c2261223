#include "platform/linux/manager/service_rules.h"

namespace {

bool IsPending(DWORD state) {
    return state == 0 || state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
}

DWORD AcceptanceFlag(DWORD control) {
    return control == SERVICE_CONTROL_STOP ? SERVICE_ACCEPT_STOP : SERVICE_ACCEPT_PAUSE_CONTINUE;
}

std::string ExtensionOf(const SERVICE_STATUS& status) {
    if (status.dwWaitHint == 0) return "";
    return "\nEXTEND_TIMEOUT_USEC=" + std::to_string(std::uint64_t{status.dwWaitHint} * 1000);
}

std::string ExitText(const SERVICE_STATUS& status) {
    if (status.dwWin32ExitCode == 0) return "Stopped";
    std::string text = "Stopped with exit code " + std::to_string(status.dwWin32ExitCode);
    if (status.dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR)
        text += ", service-specific code " + std::to_string(status.dwServiceSpecificExitCode);
    return text;
}

}  // namespace

DWORD WhyControlRefused(const SERVICE_STATUS& status, DWORD control) {
    if (control < SERVICE_CONTROL_STOP || control > SERVICE_CONTROL_INTERROGATE)
        return ERROR_INVALID_SERVICE_CONTROL;
    if (status.dwCurrentState == SERVICE_STOPPED) return ERROR_SERVICE_NOT_ACTIVE;
    if (control == SERVICE_CONTROL_INTERROGATE)
        return status.dwCurrentState == 0 ? ERROR_SERVICE_CANNOT_ACCEPT_CTRL : ERROR_SUCCESS;
    if (status.dwCurrentState == SERVICE_STOP_PENDING) return ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
    if ((status.dwControlsAccepted & AcceptanceFlag(control)) != 0) return ERROR_SUCCESS;
    return IsPending(status.dwCurrentState) ? ERROR_SERVICE_CANNOT_ACCEPT_CTRL
                                            : ERROR_INVALID_SERVICE_CONTROL;
}

bool IsValidStatus(const SERVICE_STATUS& status) {
    return status.dwCurrentState >= SERVICE_STOPPED && status.dwCurrentState <= SERVICE_PAUSED;
}

std::string NotificationOf(const SERVICE_STATUS& previous, const SERVICE_STATUS& status,
                           std::uint64_t monotonicMicroseconds) {
    switch (status.dwCurrentState) {
        case SERVICE_START_PENDING:
            return "STATUS=Starting" + ExtensionOf(status);
        case SERVICE_RUNNING:
            if (status.dwWaitHint != 0 && previous.dwCurrentState == SERVICE_RUNNING)
                return "RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonicMicroseconds) +
                       "\nSTATUS=Reloading" + ExtensionOf(status);
            return "READY=1\nSTATUS=Running";
        case SERVICE_PAUSED:
            return "STATUS=Paused";
        case SERVICE_STOP_PENDING:
            return "STOPPING=1\nSTATUS=Stopping" + ExtensionOf(status);
        case SERVICE_STOPPED:
            // The process still has its tear-down ahead of it; it is its end that the manager sees.
            return "STOPPING=1\nSTATUS=" + ExitText(status);
        default:
            // Continuing and pausing (5 and 6): on the way between RUNNING and PAUSED.
            return "STATUS=Changing between running and paused" + ExtensionOf(status);
    }
}
