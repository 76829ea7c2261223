#include "service/host/service_host.h"

#include "build_revision.h"

#include <cstdio>

#include "database/load/client_list.h"
#include "diagnostics/event_report.h"
#include "diagnostics/messages.h"
#include "platform/event_copy.h"
#include "platform/stop_bounds.h"
#include "request/interfaces.h"
#include "request/pool_state.h"
#include "service/host/daemon_thread.h"
#include "service/host/service_install.h"
#include "service/host/service_status.h"

namespace {

// What a thread at the sockets needs to read the datagram that is there.
constexpr DWORD PauseWait = 1000;

constexpr DWORD ListenerHandleWait = 5000;

// A thread that has just given up the role is still named as the listener. Within this time it has done its
// request, or a successor has announced itself.
constexpr DWORD SuccessorWait = 50;

// Set when ServiceMain has made its final report; made before the dispatcher starts it.
HANDLE HostEnded;

void* const FirstThread = &HostEnded;  // any value but null marks the first thread

void SuspendListener() {
    Sleep(SuccessorWait);
    {
        const PoolLock hold(ListenerHandleMutex, ListenerHandleWait);
        PausedThread = ListenerThread.load();
    }
    SuspendThread(PausedThread);
}

void Thaw() {
    ResumeThread(PausedThread);
    ResumeReception();
}

void PauseService() {
    if (!HoldReception(PauseWait)) {
        ReportStateChange(SERVICE_RUNNING, SERVICE_RUNNING);
        return;
    }
    SuspendListener();
    if (!ReportStateChange(SERVICE_RUNNING, SERVICE_PAUSED)) Thaw();  // it has come to its end meanwhile
}

void ContinueService() {
    if (ReportStateChange(SERVICE_PAUSED, SERVICE_RUNNING)) Thaw();
}

// Returns the handle of the first daemon thread, or null if a step failed.
HANDLE BeginService() {
    if (!ReportServiceStatus(SERVICE_START_PENDING, NO_ERROR, 1, 3000)) return nullptr;
    StopEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (StopEvent == nullptr) return nullptr;
    if (!ReportServiceStatus(SERVICE_START_PENDING, NO_ERROR, 2, 3000)) return nullptr;
    const HANDLE thread = CreateThread(nullptr, 0, DaemonThread, FirstThread, 0, nullptr);
    // The thread may have announced itself already: then its own handle stays.
    HANDLE none = nullptr;
    ListenerThread.compare_exchange_strong(none, thread);
    return thread;
}

void RunService() {
    const HANDLE thread = BeginService();
    if (thread == nullptr) {
        const DWORD error = GetLastError();
        LogEventError(EVENT_SYSTEM_ERROR, error, AllEvents);
        ReportServiceStatus(SERVICE_STOPPED, error, 0, 0);
    }
    if (thread != nullptr && ReportServiceStatus(SERVICE_RUNNING, NO_ERROR, 0, 0)) {
        WaitForSingleObject(StopEvent, INFINITE);
        ReportServiceEnd();
    }
    if (StopEvent != nullptr) CloseHandle(StopEvent);
    if (thread != nullptr) CloseHandle(thread);
}

// For whoever reads the output of the program, a journal for one.
int PrintFailure(DWORD error) {
    char text[256] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error, 0, text, sizeof text, nullptr);
    std::fprintf(stderr, "Quillon ended with error %u: %s\n", static_cast<unsigned>(error), text);
    return 1;
}

int RunUnderManager() {
    HostEnded = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (HostEnded == nullptr) {
        const DWORD error = GetLastError();
        LogEventError(EVENT_SYSTEM_ERROR, error, AllEvents);
        return PrintFailure(error);
    }
    char name[] = "Quillon";
    const SERVICE_TABLE_ENTRYA table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    if (!StartServiceCtrlDispatcherA(table)) return PrintFailure(GetLastError());
    // The stop control reports STOPPED before the tear-down has run.
    WaitForSingleObject(HostEnded, ProcessStaySeconds * 1000);
    return 0;
}

// The process may be ended when this returns, so it stays for the tear-down.
BOOL WINAPI StopConsole(DWORD) {
    LoadsInterrupted = true;
    StopReception();
    WaitForSingleObject(StopEvent, ProcessStaySeconds * 1000);
    return TRUE;
}

int RunInConsole() {
    StopEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (StopEvent == nullptr) return -1;
    CopyEventsToStandardError();
    SetConsoleCtrlHandler(StopConsole, TRUE);
    DaemonThread(FirstThread);
    WaitForSingleObject(StopEvent, INFINITE);
    SetConsoleCtrlHandler(StopConsole, FALSE);
    return 0;
}

int Install() {
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    const int installed = InstallService(manager);
    if (manager != nullptr) CloseServiceHandle(manager);
    std::printf("%s", installed ? "Quillon service successfully installed\r\n"
                                : "Error installing the Quillon service\n");
    return installed ? 0 : 1;
}

int Remove() {
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    const char* message = "Quillon service successfully removed\r\n";
    const int removed = RemoveService(manager, &message);
    if (manager != nullptr) CloseServiceHandle(manager);
    std::printf("%s", message);
    return removed ? 0 : 1;
}

int PrintVersion() {
    std::printf("\nQuillon version 2.0\r\n");
    std::printf("Build sha: %s\r\n", BuildRevision);
    std::printf("Release build\r\n");
    return 0;
}

int PrintUsage() {
    std::printf("\nQuillon command line switches:\n\n-install\n-remove\n-version\n");
    return 0;
}

struct Switch {
    const char* text;
    int (*action)();
};

constexpr Switch Switches[] = {
    {"-install", Install},
    {"-remove", Remove},
    {"-version", PrintVersion},
    {"-debug", RunInConsole},
};

}  // namespace

void WINAPI ServiceControlHandler(DWORD control) {
    const DWORD state = CurrentServiceState();
    if (control == SERVICE_CONTROL_STOP)
        StopService();
    else if (control == SERVICE_CONTROL_PAUSE && state == SERVICE_RUNNING)
        PauseService();
    else if (control == SERVICE_CONTROL_CONTINUE)
        ContinueService();
    else
        ReportStateChange(state, state);
}

void WINAPI ServiceMain(DWORD, LPSTR*) {
    ServiceStatusHandle = RegisterServiceCtrlHandlerA(ServiceName, ServiceControlHandler);
    ServiceSpecificCode = 0;
    RunService();
    SetEvent(HostEnded);
}

int ProgramMain(int argc, char* argv[]) {
    if (argc < 2) return RunUnderManager();
    for (const Switch& row : Switches)
        if (_stricmp(argv[1], row.text) == 0) return row.action();
    return PrintUsage();
}
