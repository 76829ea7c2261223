// The service manager: systemd, or any supervisor that speaks its notification protocol.
//
// Status goes out over NOTIFY_SOCKET; controls come in as SIGTERM (stop) and over the control socket in the
// home.
#pragma once

#include "platform/linux/faces/types.h"

inline constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 16;
inline constexpr DWORD SERVICE_STOPPED = 1;
inline constexpr DWORD SERVICE_START_PENDING = 2;
inline constexpr DWORD SERVICE_STOP_PENDING = 3;
inline constexpr DWORD SERVICE_RUNNING = 4;
inline constexpr DWORD SERVICE_PAUSED = 7;
inline constexpr DWORD SERVICE_ACCEPT_STOP = 1;
inline constexpr DWORD SERVICE_ACCEPT_PAUSE_CONTINUE = 2;
inline constexpr DWORD SERVICE_CONTROL_STOP = 1;
inline constexpr DWORD SERVICE_CONTROL_PAUSE = 2;
inline constexpr DWORD SERVICE_CONTROL_CONTINUE = 3;
inline constexpr DWORD SERVICE_CONTROL_INTERROGATE = 4;
inline constexpr DWORD SERVICE_DEMAND_START = 3;
inline constexpr DWORD SERVICE_ERROR_NORMAL = 1;
inline constexpr DWORD SC_MANAGER_ALL_ACCESS = 0xF003F;
inline constexpr DWORD SERVICE_ALL_ACCESS = 0xF01FF;

struct SERVICE_STATUS {
    DWORD dwServiceType;
    DWORD dwCurrentState;
    DWORD dwControlsAccepted;
    DWORD dwWin32ExitCode;
    DWORD dwServiceSpecificExitCode;
    DWORD dwCheckPoint;
    DWORD dwWaitHint;
};
using LPSERVICE_STATUS = SERVICE_STATUS*;
using SC_HANDLE = struct SC_HANDLE__*;
using SERVICE_STATUS_HANDLE = struct SERVICE_STATUS_HANDLE__*;
using LPSERVICE_MAIN_FUNCTIONA = void(WINAPI*)(DWORD argumentCount, LPSTR* arguments);
using LPHANDLER_FUNCTION = void(WINAPI*)(DWORD control);

struct SERVICE_TABLE_ENTRYA {
    LPSTR lpServiceName;
    LPSERVICE_MAIN_FUNCTIONA lpServiceProc;
};

// Runs the service's main function on a thread of its own and handles controls on the calling thread, until
// that function has returned from a service that has reported SERVICE_STOPPED (or DispatcherStaySeconds after
// that report). The tear-down that follows a stop may still be at work then. SIGTERM and SIGINT are blocked
// from here on and are taken as stop controls; one that comes while the service is starting waits until it
// accepts a stop.
//
// The service works in its home, which becomes the working directory.
//
// False with ERROR_FAILED_SERVICE_CONTROLLER_CONNECT if no manager started the process;
// ERROR_SERVICE_ALREADY_RUNNING if the home has a live service; another error if there can be no control
// socket; and with the service's exit code if it ended in failure without having been told to stop, so that
// the process can end in failure too.
BOOL WINAPI StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table);

// Only inside the service's main function. The handler is called on the dispatcher's thread. The name isn't
// looked at: there is one service in the process.
SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerA(LPCSTR service, LPHANDLER_FUNCTION handler);

// From any thread. Tells the manager; one that can't be reached, or doesn't listen for a second, is no
// failure. RUNNING with a wait hint, reported by a service that runs already, says that it is reloading.
BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status);

// The access rights asked for aren't looked at: what the caller may do is what the files let it do.
SC_HANDLE WINAPI OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD access);

// Stores the service key in the registry and writes the unit by which systemd starts the service.
// ERROR_SERVICE_EXISTS if there is one; a load order group, a tag, dependencies or an account fail with
// ERROR_CALL_NOT_IMPLEMENTED.
SC_HANDLE WINAPI CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD access, DWORD type,
                                DWORD start, DWORD errorControl, LPCSTR path, LPCSTR loadOrderGroup,
                                LPDWORD tag, LPCSTR dependencies, LPCSTR account, LPCSTR password);
SC_HANDLE WINAPI OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access);

// Both ask the process of the home's service; without one the service is stopped. A control fails with
// ERROR_INVALID_SERVICE_CONTROL if the service doesn't accept it, ERROR_SERVICE_CANNOT_ACCEPT_CTRL while it
// is starting or stopping, ERROR_SERVICE_NOT_ACTIVE if it is stopped. ERROR_SERVICE_REQUEST_TIMEOUT after
// seven seconds without an answer.
BOOL WINAPI QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status);
BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status);

// Undoes CreateServiceA at once, also while the service runs; keys below the service key stay. A second time:
// ERROR_SERVICE_MARKED_FOR_DELETE.
BOOL WINAPI DeleteService(SC_HANDLE service);
BOOL WINAPI CloseServiceHandle(SC_HANDLE handle);
