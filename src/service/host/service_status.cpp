#include "service/host/service_status.h"

#include <mutex>

#include "database/load/client_list.h"
#include "request/interfaces.h"
#include "request/pool_state.h"

std::atomic<DWORD> ServiceSpecificCode{0};
std::atomic<DWORD> ServiceExitCode{ERROR_SERVICE_SPECIFIC_ERROR};
HANDLE StopEvent;
std::atomic<SERVICE_STATUS_HANDLE> ServiceStatusHandle;

namespace {

std::mutex StatusLock;
SERVICE_STATUS Status;
bool EndReported;
std::atomic<bool> StoppingOnFailure{false};

// Caller holds StatusLock.
bool SendStatus(DWORD state, DWORD exitCode, DWORD checkPoint, DWORD waitHint) {
    if (EndReported) return true;
    Status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    Status.dwCurrentState = state;
    Status.dwControlsAccepted =
        state == SERVICE_START_PENDING ? 0 : SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE;
    Status.dwWin32ExitCode = exitCode;
    Status.dwServiceSpecificExitCode = ServiceSpecificCode.load();
    Status.dwCheckPoint = checkPoint;
    Status.dwWaitHint = waitHint;
    return ServiceStatusHandle.load() == nullptr || SetServiceStatus(ServiceStatusHandle, &Status) != 0;
}

// Non-zero if the manager knows.
int StopIfUnsent(bool sent) {
    if (sent) return 1;
    if (!StoppingOnFailure.exchange(true)) StopService();
    return 0;
}

DWORD WINAPI StopReceptionThread(LPVOID) {
    StopReception();
    return 0;
}

}  // namespace

int ReportServiceStatus(DWORD state, DWORD exitCode, DWORD checkPoint, DWORD waitHint) {
    std::unique_lock lock(StatusLock);
    const bool sent = SendStatus(state, exitCode, checkPoint, waitHint);
    lock.unlock();
    return StopIfUnsent(sent);
}

void ReportServiceEnd() {
    const std::lock_guard lock(StatusLock);
    SendStatus(SERVICE_STOPPED, ServiceExitCode, 0, 0);
    EndReported = true;
}

bool ReportStateChange(DWORD from, DWORD to) {
    std::unique_lock lock(StatusLock);
    const bool changes = Status.dwCurrentState == from && !EndReported;
    const bool sent = SendStatus(changes ? to : Status.dwCurrentState, NO_ERROR, 0, 0);
    lock.unlock();
    StopIfUnsent(sent);
    return changes;
}

DWORD CurrentServiceState() {
    const std::lock_guard lock(StatusLock);
    return Status.dwCurrentState;
}

void StopService() {
    LoadsInterrupted = true;
    if (CurrentServiceState() == SERVICE_PAUSED) {
        // One and the same, unless the role has changed hands since.
        if (ListenerThread.load() != PausedThread.load()) ResumeThread(PausedThread);
        ResumeThread(ListenerThread);
    }
    ReportServiceStatus(SERVICE_STOPPED, NO_ERROR, 0, 0);
    ResumeReception();  // after the report: a pause that comes now doesn't hold any more
    const HANDLE thread = CreateThread(nullptr, 0, StopReceptionThread, nullptr, 0, nullptr);
    if (thread != nullptr)
        CloseHandle(thread);
    else
        StopReception();  // better late on this thread than never
}
