// A service for the tests of the service manager: its one argument says how it behaves. What the dispatcher
// answered goes to the file `result` in the home.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/windows_api.h"

namespace {

std::string behaviour;
SERVICE_STATUS_HANDLE statusHandle;
HANDLE stopEvent;
DWORD currentState;

void Report(DWORD state, DWORD exitCode = 0, DWORD waitHint = 0) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = currentState = state;
    status.dwControlsAccepted =
        state == SERVICE_START_PENDING ? 0 : SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE;
    if (behaviour == "no-pause") status.dwControlsAccepted &= ~SERVICE_ACCEPT_PAUSE_CONTINUE;
    status.dwWin32ExitCode = exitCode;
    status.dwServiceSpecificExitCode = exitCode != 0 ? 11 : 0;
    status.dwWaitHint = waitHint;
    if (!SetServiceStatus(statusHandle, &status)) std::abort();
}

void WINAPI HandleControl(DWORD control) {
    if (control == SERVICE_CONTROL_STOP) {
        Report(SERVICE_STOPPED);
        SetEvent(stopEvent);
    } else if (control == SERVICE_CONTROL_PAUSE) {
        Report(SERVICE_PAUSED);
    } else if (control == SERVICE_CONTROL_CONTINUE) {
        Report(SERVICE_RUNNING);
    } else {
        if (behaviour == "slow-handler") Sleep(1500);
        Report(currentState);
    }
}

void WINAPI RunService(DWORD count, LPSTR* arguments) {
    if (count != 1 || std::strcmp(arguments[0], "Test") != 0) std::abort();
    statusHandle = RegisterServiceCtrlHandlerA("Test", HandleControl);
    if (statusHandle == nullptr) std::abort();
    Report(SERVICE_START_PENDING, 0, 3000);
    if (std::FILE* mark = std::fopen("working-directory", "w")) std::fclose(mark);
    if (behaviour == "slow-start") Sleep(700);
    if (behaviour == "vanish") return;
    Report(SERVICE_RUNNING);
    if (behaviour == "fail") {
        Report(SERVICE_STOP_PENDING, ERROR_SERVICE_SPECIFIC_ERROR, 6000);
        Report(SERVICE_STOPPED, ERROR_SERVICE_SPECIFIC_ERROR);
        return;
    }
    if (behaviour == "reload") {
        Report(SERVICE_RUNNING, 0, 2000);
        Report(SERVICE_RUNNING);
    }
    WaitForSingleObject(stopEvent, INFINITE);
    if (behaviour == "stuck-tear-down") Sleep(INFINITE);
    // As after a stop that the service's own loop saw only as a failure.
    Report(SERVICE_STOP_PENDING, 0, 3000);
    Report(SERVICE_STOPPED, ERROR_SERVICE_SPECIFIC_ERROR);
}

}  // namespace

int main(int argc, char** argv) {
    behaviour = argc > 1 ? argv[1] : "";
    stopEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    char name[] = "Test";
    const SERVICE_TABLE_ENTRYA table[] = {{name, RunService}, {nullptr, nullptr}};
    const BOOL answer = StartServiceCtrlDispatcherA(table);
    const DWORD error = answer ? 0 : GetLastError();
    const char* home = std::getenv("QUILLON_HOME");
    if (std::FILE* result = std::fopen((std::string(home) + "/result").c_str(), "w")) {
        std::fprintf(result, "%u", error);
        std::fclose(result);
    }
    return answer ? 0 : 1;
}
