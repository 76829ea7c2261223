#include "request/reload.h"

#include "diagnostics/messages.h"

#include <cstring>

#include "database/last_answer.h"
#include "database/load/client_list.h"
#include "database/lookup/client_index.h"
#include "diagnostics/event_report.h"
#include "diagnostics/service_counters.h"
#include "request/address_list.h"
#include "request/pool_state.h"
#include "service/generation.h"
#include "service/parameter_load.h"

namespace {

constexpr char ReloadRequest[] = "RELOAD REQ";
constexpr char ReloadAcknowledged[] = "RELOAD ACK";
constexpr char ReloadRefused[] = "RELOAD NACK";
constexpr DWORD ListWait = 3000;

// The load closes the log that it is handed. It gets handles of its own: those of the live record go on
// serving the requests that are under way, and everyone if the load fails.
ServerParameters CarriedParameters() {
    ServerParameters fresh = {};
    fresh.LogHandle = DuplicateOwnHandle(LiveParameters.LogHandle);
    fresh.LogMutex = DuplicateOwnHandle(LiveParameters.LogMutex);
    fresh.HelperLibrary = LiveParameters.HelperLibrary;
    fresh.ArpAdd = LiveParameters.ArpAdd;
    fresh.ArpRemove = LiveParameters.ArpRemove;
    return fresh;
}

// Null if the load failed; nothing of it is left then.
Generation* LoadGeneration() {
    ServerParameters fresh = CarriedParameters();
    if (LoadParameters(&fresh) == LoadOk)
        if (Generation* const generation = MakeGeneration(&fresh)) return generation;
    ReleaseParameters(&fresh);
    return nullptr;
}

// Retires the old list before the new record is live, so that a request which waits for ClientListMutex looks
// in the new list. ThreadCountMutex is taken for the count of threads, which the new record sets anew.
Generation* Swap(Generation* generation) {
    const PoolLock count(ThreadCountMutex, INFINITE);
    const PoolLock list(ClientListMutex, ListWait);
    RetireClientList(LiveParameters.ClientList);
    return InstallGeneration(generation);
}

template <std::size_t N>
void Answer(const RequestContext& context, const char (&text)[N]) {
    sendto(context.socket, text, static_cast<int>(N), 0, reinterpret_cast<const sockaddr*>(&context.from),
           static_cast<int>(sizeof context.from));
}

}  // namespace

bool IsReloadRequest(const BootPacket* packet) {
    return std::memcmp(packet, ReloadRequest, sizeof ReloadRequest) == 0;
}

bool MayReload(const ServerParameters& record, const sockaddr_in& sender) {
    if (record.ReloadSources[0] == '\0') return true;
    IpAddress address;
    std::memcpy(address.bytes, &sender.sin_addr, sizeof address.bytes);
    return IsListed(record.ReloadSources, address);
}

Generation* ReloadParameters(RequestContext* context) {
    Generation* const generation = LoadGeneration();
    Generation* former = nullptr;
    if (generation == nullptr) {
        Answer(*context, ReloadRefused);
        if (!LoadsInterrupted) {  // a stop is no failure
            LogEvent(EVENT_RELOAD_FAILED);
            CountReload(false);
        }
    } else {
        Answer(*context, ReloadAcknowledged);
        LogEvent(EVENT_RELOADED);
        former = Swap(generation);
        CountReload(true);
    }
    ReleaseRequest(context);
    return former;
}

void LeaveFormerGeneration(Generation* former) {
    if (former == nullptr) return;
    const PinnedGeneration current(nullptr);
    if (current) CarryLastAnswers(RecordOf(former).ClientList, current.record().ClientList);
    ReleaseGeneration(former);
}
