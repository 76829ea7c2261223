// The service manager: systemd, or any supervisor that speaks its notification protocol.
//
// Status goes out over NOTIFY_SOCKET; controls come in as SIGTERM (stop) and over the control socket in the home.
#pragma once

#include "platform/posix/types.h"

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

// Runs the service's main function on a thread of its own and handles controls on the calling thread until the service
// has reported SERVICE_STOPPED. Without a manager: false and ERROR_FAILED_SERVICE_CONTROLLER_CONNECT.
BOOL WINAPI StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table);
SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerA(LPCSTR service, LPHANDLER_FUNCTION handler);
BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status);

SC_HANDLE WINAPI OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD access);
SC_HANDLE WINAPI CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD access, DWORD type, DWORD start,
                                DWORD errorControl, LPCSTR path, LPCSTR loadOrderGroup, LPDWORD tag, LPCSTR dependencies,
                                LPCSTR account, LPCSTR password);
SC_HANDLE WINAPI OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access);
BOOL WINAPI QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status);
BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status);
BOOL WINAPI DeleteService(SC_HANDLE service);
BOOL WINAPI CloseServiceHandle(SC_HANDLE handle);
