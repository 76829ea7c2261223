#include "service/host/service_lifetime.h"

#include "diagnostics/messages.h"

#include <cstdio>

#include "arp/arp_expiry.h"
#include "database/load/client_list.h"
#include "database/lookup/client_index.h"
#include "diagnostics/activity_log.h"
#include "diagnostics/event_report.h"
#include "request/interfaces.h"
#include "request/pool_state.h"
#include "service/generation.h"
#include "service/host/service_report.h"
#include "service/host/service_status.h"
#include "service/parameter_load.h"

namespace {

constexpr DWORD SocketsFailed = 15;
constexpr DWORD SocketsVersionFailed = 16;
constexpr DWORD HostNameFailed = 17;

constexpr DWORD ListWait = 3000;
constexpr DWORD GenerationWait = 3000;

DWORD LoadFirstGeneration() {
    StoreLiveParameters({});
    if (const LoadResult result = LoadParameters(&LiveParameters)) return result;
    Generation* const generation = MakeGeneration(&LiveParameters);
    if (generation == nullptr) {
        LogEvent(EVENT_CACHE_NO_MEMORY);
        return LoadListNoMemory;
    }
    InstallGeneration(generation);
    return 0;
}

DWORD StartSockets() {
    WSADATA data = {};
    if (WSAStartup(MAKEWORD(1, 1), &data) != 0) {
        LogEvent(EVENT_SOCKETS_UNAVAILABLE);
        return SocketsFailed;
    }
    if (LOBYTE(data.wVersion) != 1 || HIBYTE(data.wVersion) != 1) {
        LogEvent(EVENT_SOCKETS_VERSION);
        return SocketsVersionFailed;
    }
    return 0;
}

DWORD TakeHostName() {
    if (gethostname(HostName, sizeof HostName) == 0) return 0;
    LogEventError(EVENT_HOST_NAME_FAILED, static_cast<DWORD>(WSAGetLastError()));
    return HostNameFailed;
}

void ReportStart() {
    char text[128];
    std::snprintf(
        text, sizeof text,
        "Total cache size in use is %d bytes, active port is %d, maximum number of clients is unlimited.",
        static_cast<int>(TotalCacheBytes), ActivePort);
    LogEventText(EVENT_STARTED, text);
}

// Returns 0 or the service-specific code. A stop ends it, also in the midst of the load.
DWORD Start(AddressWatch* watch) {
    const DWORD loaded = LoadFirstGeneration();
    if (loaded == LoadInterrupted || (loaded == LoadOk && LoadsInterrupted)) return 0;
    if (loaded != LoadOk) return loaded;
    if (!MakePoolMutexes()) {
        ReportSystemError();
        return LoadListNoMemory;
    }
    if (const DWORD code = StartSockets()) return code;
    if (!StartArpExpiry(LiveParameters.StaticArpTimeout, LiveParameters.ArpRemove)) ReportSystemError();
    if (const DWORD code = TakeHostName()) return code;
    ArmAddressChange(&watch->overlapped, &watch->handle);
    if (const DWORD code = BindAllInterfaces()) return code;
    ReportStart();
    PacketCount = 0;
    return 0;
}

// Takes the client list out of the requests' reach. Requests that are under way keep their generation; the
// last of them releases it, or this call does if there are none.
void LetGoOfClients(Generation* generation) {
    const PoolLock list(ClientListMutex, ListWait);
    RetireClientList(RecordOf(generation).ClientList);
}

// The log's handles have to outlive their generation: the stop banner is the last that is written.
struct FinalLog {
    HANDLE file = nullptr;
    HANDLE mutex = nullptr;

    explicit FinalLog(const ServerParameters& record)
        : file(DuplicateOwnHandle(record.LogHandle)), mutex(DuplicateOwnHandle(record.LogMutex)) {}
};

void CloseIfMade(HANDLE handle) {
    if (handle != nullptr) CloseHandle(handle);
}

}  // namespace

bool BringUpService(AddressWatch* watch) {
    NoteServiceStart();
    SetReportProvider(MakeReportPage);
    ServiceSpecificCode = Start(watch);
    if (ServiceSpecificCode == 0 && !LoadsInterrupted) return true;
    if (ServiceSpecificCode == 0) ServiceExitCode = NO_ERROR;  // stopped while it was starting
    ReportServiceStatus(SERVICE_STOP_PENDING, ServiceExitCode, 1, 6000);
    return false;
}

void TearDownService() {
    if (!BeginPoolEnd()) return;
    Generation* const generation = UninstallGeneration();
    // A start that failed has no generation; what its load built hangs on the live record.
    const FinalLog log(generation != nullptr ? RecordOf(generation) : LiveParameters);
    if (generation != nullptr) {
        LetGoOfClients(generation);
        ReleaseGeneration(generation);
    }
    CloseAllSockets();
    WSACleanup();
    if (generation == nullptr)
        ReleaseParameters(&LiveParameters);
    else
        WaitForGenerations(GenerationWait);
    StopArpExpiry();
    CloseIfMade(ClientListMutex);
    WriteStopBanner(log.file, log.mutex);
    for (const HANDLE handle :
         {ListenerHandleMutex.load(), ListenerMutex.load(), log.mutex, ThreadCountMutex.load(), log.file})
        CloseIfMade(handle);
    LogEvent(EVENT_TERMINATED);
    if (StopEvent != nullptr) SetEvent(StopEvent);
}
