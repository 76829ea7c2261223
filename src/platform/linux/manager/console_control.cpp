#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <vector>

#include "platform/linux/events/system_text.h"
#include "platform/linux/faces/console.h"
#include "platform/linux/faces/handle.h"
#include "platform/linux/faces/thread.h"
#include "platform/linux/faces/wait.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/manager/control_server.h"
#include "platform/linux/manager/service_rules.h"
#include "platform/linux/manager/service_signals.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr std::size_t OwnDescriptors = 2;
constexpr DWORD NoEvent = 0xFFFFFFFF;

// What reaches the program while it runs. All of it is the work of one thread but for Begin and End, which
// are called before and after it.
class ConsoleControl {
  public:
    explicit ConsoleControl(PHANDLER_ROUTINE handler) : handler_(handler) {}

    DWORD Begin() {
        const sigset_t signals = BlockServiceSignals();
        signals_.Reset(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
        wake_.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        DWORD error = signals_ && wake_ ? ERROR_SUCCESS : WindowsErrorFrom(errno);
        if (error == ERROR_SUCCESS) {
            OpenControl();
            thread_ = CreateThread(nullptr, 0, Run, this, 0, nullptr);
            if (thread_ == nullptr) error = GetLastError();
        }
        if (error != ERROR_SUCCESS) ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        return error;
    }

    void End() {
        isEnding_ = true;
        ::eventfd_write(wake_.Get(), 1);
        WaitForSingleObject(thread_, INFINITE);
        CloseHandle(thread_);
    }

  private:
    // Whoever tries something out by hand can do without.
    void OpenControl() {
        const DWORD error = control_.OpenForInstance();
        hasControl_ = error == ERROR_SUCCESS;
        if (!hasControl_)
            std::fprintf(stderr, "No control socket at %s, error %u: %s\n",
                         PathOf(HomePlace::ControlSocket).c_str(), static_cast<unsigned>(error),
                         SystemText(error).c_str());
    }

    static DWORD WINAPI Run(LPVOID self) {
        static_cast<ConsoleControl*>(self)->Listen();
        return 0;
    }

    void Listen() {
        std::vector<pollfd> ready;
        ready.reserve(ControlServer::MostDescriptors + OwnDescriptors);
        while (!isEnding_ && Wait(ready)) {
            TakeSignals();
            if (hasControl_) control_.Serve([this](DWORD control) { return Carry(control); });
            reload_.SendIfAsked();
            // Those who ask meanwhile have their answer after the end.
            if (event_ != NoEvent && !wasHandled_) wasHandled_ = handler_(event_) != FALSE;
        }
    }

    bool Wait(std::vector<pollfd>& ready) {
        ControlServer::Clock::time_point next = ControlServer::Clock::time_point::max();
        ready.assign({{signals_.Get(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}});
        if (hasControl_) {
            control_.AppendTo(ready);
            next = control_.NextDeadline();
        }
        if (reload_.IsAsked()) next = std::min(next, ControlServer::Clock::now() + OwnReload::RetryPause);
        return ::poll(ready.data(), ready.size(), ControlServer::MillisecondsUntil(next)) >= 0 ||
               errno == EINTR;
    }

    void TakeSignals() {
        signalfd_siginfo signal;
        while (::read(signals_.Get(), &signal, sizeof signal) == sizeof signal) {
            if (signal.ssi_signo == SIGHUP)
                reload_.Ask();
            else
                event_ = signal.ssi_signo == SIGINT ? CTRL_C_EVENT : CTRL_CLOSE_EVENT;
        }
    }

    ControlReply Carry(DWORD control) {
        ControlReply reply;
        reply.status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
        reply.status.dwCurrentState = event_ == NoEvent ? SERVICE_RUNNING : SERVICE_STOP_PENDING;
        reply.status.dwControlsAccepted = event_ == NoEvent ? SERVICE_ACCEPT_STOP : 0;
        if (control != ControlQuery) reply.error = WhyControlRefused(reply.status, control);
        if (control == SERVICE_CONTROL_STOP && reply.error == ERROR_SUCCESS) {
            event_ = CTRL_CLOSE_EVENT;
            reply.status.dwCurrentState = SERVICE_STOP_PENDING;
        }
        return reply;
    }

    const PHANDLER_ROUTINE handler_;
    HANDLE thread_ = nullptr;
    Descriptor signals_;
    Descriptor wake_;  // for the end
    std::atomic<bool> isEnding_{false};
    ControlServer control_;
    bool hasControl_ = false;
    OwnReload reload_;
    DWORD event_ = NoEvent;  // what has come and asks for the end
    bool wasHandled_ = false;
};

// Only the thread that runs the program sets it.
std::unique_ptr<ConsoleControl> Control;

}  // namespace

BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add) try {
    if (handler == nullptr || (Control == nullptr) != (add != FALSE)) {
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
        return FALSE;
    }
    if (!add) {
        Control->End();
        Control.reset();
        return TRUE;
    }
    auto made = std::make_unique<ConsoleControl>(handler);
    if (const DWORD error = made->Begin(); error != ERROR_SUCCESS) {
        SetLastError(error);
        return FALSE;
    }
    Control = std::move(made);
    return TRUE;
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
}
