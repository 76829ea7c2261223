#include "service/host/daemon_thread.h"

#include "diagnostics/service_counters.h"
#include "request/daemon_pool.h"
#include "service/generation.h"
#include "service/host/service_lifetime.h"
#include "service/host/service_status.h"

namespace {

void ReportOrderlyEnd() {
    ServiceExitCode = NO_ERROR;
    ReportServiceStatus(SERVICE_STOP_PENDING, NO_ERROR, 2, 3000);
}

struct CountedThread {
    CountedThread() { CountPoolThread(1); }
    ~CountedThread() { CountPoolThread(-1); }
    CountedThread(const CountedThread&) = delete;
    CountedThread& operator=(const CountedThread&) = delete;
};

}  // namespace

DWORD WINAPI DaemonThread(LPVOID first) {
    const CountedThread counted;
    AddressWatch watch = {};
    watch.overlapped.hEvent = UnarmedEvent();
    if (first != nullptr && !BringUpService(&watch)) {
        TearDownService();
        return 0;
    }
    const HANDLE self = DuplicateOwnHandle(GetCurrentThread());
    const LoopEnd end = RunDaemonLoop({self, &watch, DaemonThread});
    if (end == LoopEnd::Stopped) ReportOrderlyEnd();
    if (end != LoopEnd::RoleLost) TearDownService();
    CloseHandle(self);
    return 0;
}
