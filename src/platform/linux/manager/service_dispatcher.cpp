#include "platform/linux/manager/service_dispatcher.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>

#include "platform/linux/events/event_writer.h"
#include "platform/linux/events/system_text.h"
#include "platform/linux/faces/handle.h"
#include "platform/linux/faces/thread.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/manager/service_rules.h"
#include "platform/linux/system/system_error.h"
#include "platform/linux/system/undying.h"
#include "platform/stop_bounds.h"

namespace {

// A service that has reported STOPPED still has its tear-down ahead of it. Its last report tells how it
// ended, and the control socket goes on answering meanwhile.
constexpr std::chrono::seconds TearDownPatience{DispatcherStaySeconds};

constexpr DWORD ErrorProcessAborted = 1067;  // the service's main function returned without a last report

std::uint64_t MonotonicMicroseconds() {
    // The clock of the service manager, which is that of the steady clock.
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

constexpr std::size_t OwnDescriptors = 2;

}  // namespace

ServiceDispatcher& ServiceDispatcher::Instance() {
    return Undying<ServiceDispatcher>();
}

DWORD ServiceDispatcher::Run(const SERVICE_TABLE_ENTRYA& service) {
    DWORD error = Connect();
    if (error == ERROR_FAILED_SERVICE_CONTROLLER_CONNECT || error == ERROR_SERVICE_ALREADY_RUNNING)
        return error;
    if (error != ERROR_SUCCESS) return Complain("No way to the service manager", error);
    try {
        error = RunConnected(service);
    } catch (...) {
        error = Complain("No service", CaughtError());
    }
    control_ = nullptr;
    Disconnect();
    return error;
}

DWORD ServiceDispatcher::RunConnected(const SERVICE_TABLE_ENTRYA& service) {
    ControlServer control;
    std::vector<pollfd> descriptors;
    descriptors.reserve(ControlServer::MostDescriptors + OwnDescriptors);
    if (const DWORD error = Prepare(control); error != ERROR_SUCCESS) return error;
    control_ = &control;
    if (const DWORD error = StartServiceThread(service); error != ERROR_SUCCESS)
        return Complain("No thread for the service", error);
    Dispatch(descriptors);
    return Verdict();
}

DWORD ServiceDispatcher::Connect() {
    const std::lock_guard guard(lock_);
    if (isConnected_) return ERROR_SERVICE_ALREADY_RUNNING;
    if (!manager_.Open()) return ERROR_FAILED_SERVICE_CONTROLLER_CONNECT;
    // Kept from run to run: a thread of an earlier service may still write to it.
    if (!wake_) wake_.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    const sigset_t signals = BlockServiceSignals();
    signals_.Reset(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!wake_ || !signals_) return WindowsErrorFrom(errno);
    isConnected_ = true;
    hasMainReturned_ = false;
    handler_ = nullptr;
    status_ = {};
    lastNotification_.clear();
    isStopAsked_ = wasStopDelivered_ = false;
    return ERROR_SUCCESS;
}

// What a service needs around it: its home to work in, and a way for controls to come in.
DWORD ServiceDispatcher::Prepare(ControlServer& control) {
    const std::string home = PathOf(HomePlace::Folder);
    if (::chdir(home.c_str()) != 0) return Complain("No home at " + home, WindowsErrorFrom(errno));
    const DWORD error = control.OpenForInstance();
    return error == ERROR_SUCCESS
               ? error
               : Complain("No control socket at " + PathOf(HomePlace::ControlSocket), error);
}

// To the event log, the manager and whoever started the process by hand: there is no service yet that could
// report it.
DWORD ServiceDispatcher::Complain(const std::string& what, DWORD error) try {
    const std::string complaint = what + ", error " + std::to_string(error) + ": " + SystemText(error);
    std::fprintf(stderr, "%s\n", complaint.c_str());
    ReportLayerError(complaint);
    const std::lock_guard guard(lock_);
    Notify("STATUS=" + complaint);
    return error;
} catch (const std::bad_alloc&) {
    std::fprintf(stderr, "The service can't be started, error %u\n", error);
    return error;
}

DWORD ServiceDispatcher::StartServiceThread(const SERVICE_TABLE_ENTRYA& service) {
    service_ = service;
    const HANDLE thread = CreateThread(nullptr, 0, RunServiceMain, this, 0, nullptr);
    if (thread == nullptr) return GetLastError();
    CloseHandle(thread);
    return ERROR_SUCCESS;
}

DWORD WINAPI ServiceDispatcher::RunServiceMain(LPVOID dispatcher) {
    auto& self = *static_cast<ServiceDispatcher*>(dispatcher);
    char* arguments[] = {self.service_.lpServiceName, nullptr};
    self.service_.lpServiceProc(1, arguments);
    {
        const std::lock_guard guard(self.lock_);
        self.hasMainReturned_ = true;
    }
    self.Wake();
    return 0;
}

// `ready` has room, so that a lack of memory concerns no one but the client for which there is none.
void ServiceDispatcher::Dispatch(std::vector<pollfd>& ready) {
    while (!HasEnded()) {
        ready.assign({{signals_.Get(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}});
        control_->AppendTo(ready);
        auto next = std::min(NextLook(), control_->NextDeadline());
        if (reload_.IsAsked()) next = std::min(next, Clock::now() + OwnReload::RetryPause);
        if (::poll(ready.data(), ready.size(), ControlServer::MillisecondsUntil(next)) < 0 && errno != EINTR)
            return;
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t ignored = ::read(wake_.Get(), &count, sizeof count);
        TakeSignals();
        StopIfAsked();
        ReloadIfAsked();
        control_->Serve([this](DWORD control) { return Carry(control); });
    }
}

void ServiceDispatcher::TakeSignals() {
    signalfd_siginfo signal;
    while (::read(signals_.Get(), &signal, sizeof signal) == sizeof signal)
        if (signal.ssi_signo == SIGHUP)
            reload_.Ask();
        else
            isStopAsked_ = true;
}

// A signal has no sender to refuse it to: while the service is still starting, the stop waits until it is
// taken.
void ServiceDispatcher::StopIfAsked() {
    if (!isStopAsked_ || wasStopDelivered_) return;
    Carry(SERVICE_CONTROL_STOP);
}

// A service on its way out reads nothing any more.
void ServiceDispatcher::ReloadIfAsked() {
    if (!isStopAsked_ && !wasStopDelivered_) reload_.SendIfAsked();
}

ControlReply ServiceDispatcher::Carry(DWORD control) {
    ControlReply reply;
    std::unique_lock guard(lock_);
    if (control != ControlQuery) {
        reply.error = WhyControlRefused(status_, control);
        if (reply.error == ERROR_SUCCESS && handler_ == nullptr)
            reply.error = ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
        if (reply.error == ERROR_SUCCESS) {
            const LPHANDLER_FUNCTION handler = handler_;
            guard.unlock();
            wasStopDelivered_ |= control == SERVICE_CONTROL_STOP;
            handler(control);
            guard.lock();
        }
    }
    reply.status = status_;
    if (reply.status.dwCurrentState == 0) {
        reply.status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
        reply.status.dwCurrentState = SERVICE_START_PENDING;
    }
    return reply;
}

bool ServiceDispatcher::HasEnded() {
    const std::lock_guard guard(lock_);
    // A main function may return and leave a running service to its other threads, but not one that is on its
    // way.
    if (hasMainReturned_)
        return status_.dwCurrentState != SERVICE_RUNNING && status_.dwCurrentState != SERVICE_PAUSED;
    return status_.dwCurrentState == SERVICE_STOPPED && Clock::now() >= stoppedAt_ + TearDownPatience;
}

ServiceDispatcher::Clock::time_point ServiceDispatcher::NextLook() {
    const std::lock_guard guard(lock_);
    return status_.dwCurrentState == SERVICE_STOPPED ? stoppedAt_ + TearDownPatience
                                                     : Clock::time_point::max();
}

// A service that was told to stop has ended as it should, whatever its exit code. One that ended by itself
// and says why has failed, and a manager that restarts what fails has to be able to see it.
DWORD ServiceDispatcher::Verdict() {
    const std::lock_guard guard(lock_);
    if (wasStopDelivered_) return ERROR_SUCCESS;
    return status_.dwCurrentState == SERVICE_STOPPED ? status_.dwWin32ExitCode : ErrorProcessAborted;
}

DWORD ServiceDispatcher::SetHandler(LPHANDLER_FUNCTION handler) {
    const std::lock_guard guard(lock_);
    if (!isConnected_) return ERROR_FAILED_SERVICE_CONTROLLER_CONNECT;
    handler_ = handler;
    return ERROR_SUCCESS;
}

DWORD ServiceDispatcher::Report(const SERVICE_STATUS& status) {
    {
        const std::lock_guard guard(lock_);
        if (status.dwCurrentState == SERVICE_STOPPED && status_.dwCurrentState != SERVICE_STOPPED)
            stoppedAt_ = Clock::now();
        const SERVICE_STATUS former = std::exchange(status_, status);
        try {
            if (isConnected_) Notify(NotificationOf(former, status, MonotonicMicroseconds()));
        } catch (const std::bad_alloc&) {
            // As with a manager that can't be reached: the status counts all the same.
        }
    }
    Wake();
    return ERROR_SUCCESS;
}

// A manager that can't be reached doesn't stop a service that runs. The same words are not said twice: an
// interrogation changes nothing.
void ServiceDispatcher::Notify(const std::string& notification) {
    if (notification == lastNotification_) return;
    if (manager_.Notify(notification)) lastNotification_ = notification;
}

void ServiceDispatcher::Wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(wake_.Get(), &one, sizeof one);
}

// The descriptors stay open: a thread of the service may still report, and must not write to another's.
void ServiceDispatcher::Disconnect() {
    const std::lock_guard guard(lock_);
    isConnected_ = false;
}
