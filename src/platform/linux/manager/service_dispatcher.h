// A service's connection to its manager while it runs in this process. Within the layer.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "platform/linux/manager/control_server.h"
#include "platform/linux/manager/notify_socket.h"
#include "platform/linux/manager/service_signals.h"
#include "platform/linux/system/descriptor.h"

// One at a time in a process; it lives until the process ends, because the service's threads may outlast the
// dispatcher's call.
class ServiceDispatcher {
  public:
    static ServiceDispatcher& Instance();

    // The dispatcher's whole life: returns 0 once the service has ended as it should, else the error.
    DWORD Run(const SERVICE_TABLE_ENTRYA& service);

    // From any thread, while Run is at work; else ERROR_FAILED_SERVICE_CONTROLLER_CONNECT.
    DWORD SetHandler(LPHANDLER_FUNCTION handler);
    DWORD Report(const SERVICE_STATUS& status);

  private:
    using Clock = ControlServer::Clock;

    DWORD Connect();
    DWORD RunConnected(const SERVICE_TABLE_ENTRYA& service);
    DWORD Prepare(ControlServer& control);
    DWORD Complain(const std::string& what, DWORD error);
    DWORD StartServiceThread(const SERVICE_TABLE_ENTRYA& service);
    static DWORD WINAPI RunServiceMain(LPVOID dispatcher);
    void Dispatch(std::vector<pollfd>& ready);
    void TakeSignals();
    ControlReply Carry(DWORD control);
    void StopIfAsked();
    void ReloadIfAsked();
    bool HasEnded();
    Clock::time_point NextLook();
    DWORD Verdict();
    void Notify(const std::string& notification);
    void Wake();
    void Disconnect();

    std::mutex lock_;  // guards what follows up to the blank line
    bool isConnected_ = false;
    bool hasMainReturned_ = false;
    LPHANDLER_FUNCTION handler_ = nullptr;
    SERVICE_STATUS status_{};
    Clock::time_point stoppedAt_{};
    std::string lastNotification_;
    NotifySocket manager_;

    // The dispatcher's thread alone.
    SERVICE_TABLE_ENTRYA service_{};
    ControlServer* control_ = nullptr;
    Descriptor signals_;
    Descriptor wake_;  // also written by other threads
    OwnReload reload_;
    bool isStopAsked_ = false;
    bool wasStopDelivered_ = false;
};
