#include "service/host/service_status.h"

#include <mutex>

#include "request/interfaces.h"
#include "request/pool_state.h"

std::atomic<DWORD> ServiceSpecificCode{0};
std::atomic<DWORD> ServiceExitCode{ERROR_SERVICE_SPECIFIC_ERROR};
HANDLE StopEvent;
std::atomic<SERVICE_STATUS_HANDLE> ServiceStatusHandle;

namespace {

std::mutex StatusLock;
SERVICE_STATUS Status;
std::atomic<bool> StoppingOnFailure{false};

bool SendStatus(DWORD state, DWORD exitCode, DWORD checkPoint, DWORD waitHint) {
    const std::lock_guard lock(StatusLock);
    Status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    Status.dwCurrentState = state;
    Status.dwControlsAccepted =
        state == SERVICE_START_PENDING ? 0 : SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE;
    Status.dwWin32ExitCode = exitCode;
    Status.dwServiceSpecificExitCode = ServiceSpecificCode.load();
    Status.dwCheckPoint = checkPoint;
    Status.dwWaitHint = waitHint;
    return SetServiceStatus(ServiceStatusHandle, &Status) != 0;
}

DWORD WINAPI StopReceptionThread(LPVOID) {
    StopReception();
    return 0;
}

}  // namespace

int ReportServiceStatus(DWORD state, DWORD exitCode, DWORD checkPoint, DWORD waitHint) {
    if (ServiceStatusHandle.load() == nullptr || SendStatus(state, exitCode, checkPoint, waitHint)) return 1;
    if (!StoppingOnFailure.exchange(true)) StopService();
    return 0;
}

DWORD CurrentServiceState() {
    const std::lock_guard lock(StatusLock);
    return Status.dwCurrentState;
}

void StopService() {
    if (CurrentServiceState() == SERVICE_PAUSED) {
        // Usually one and the same; not if the role had just changed hands when the pause came.
        if (ListenerThread.load() != PausedThread.load()) ResumeThread(PausedThread);
        ResumeThread(ListenerThread);
    }
    ReportServiceStatus(SERVICE_STOPPED, NO_ERROR, 0, 0);
    const HANDLE thread = CreateThread(nullptr, 0, StopReceptionThread, nullptr, 0, nullptr);
    if (thread != nullptr)
        CloseHandle(thread);
    else
        StopReception();  // better late on this thread than never
}
