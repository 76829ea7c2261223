#include <time.h>

#include <atomic>

#include "platform/linux/faces/console.h"
#include "platform/linux/faces/handle.h"
#include "platform/linux/faces/thread.h"
#include "platform/linux/manager/service_signals.h"

namespace {

std::atomic<PHANDLER_ROUTINE> Handler{nullptr};
sigset_t Signals;  // set before the thread that waits for them starts

DWORD WINAPI TakeSignals(LPVOID) {
    OwnReload reload;
    for (;;) {
        const timespec pause{0, std::chrono::nanoseconds(OwnReload::RetryPause).count()};
        const int signal =
            reload.IsAsked() ? ::sigtimedwait(&Signals, nullptr, &pause) : ::sigwaitinfo(&Signals, nullptr);
        if (signal == SIGHUP) reload.Ask();
        if (signal == SIGINT || signal == SIGTERM)
            Handler.load()(signal == SIGINT ? CTRL_C_EVENT : CTRL_CLOSE_EVENT);
        reload.SendIfAsked();
    }
}

}  // namespace

BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add) {
    PHANDLER_ROUTINE none = nullptr;
    if (handler == nullptr || !add || !Handler.compare_exchange_strong(none, handler)) {
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
        return FALSE;
    }
    Signals = BlockServiceSignals();
    const HANDLE thread = CreateThread(nullptr, 0, TakeSignals, nullptr, 0, nullptr);
    if (thread == nullptr) {
        ::pthread_sigmask(SIG_UNBLOCK, &Signals, nullptr);
        return FALSE;
    }
    CloseHandle(thread);
    return TRUE;
}
