#include "service/server_parameters.h"

#include <atomic>
#include <cstring>
#include <mutex>

ServerParameters LiveParameters;

namespace {

std::mutex LiveParametersLock;

// SecondDaemonThreadTimeout of the live record, for every thread that has done its request.
std::atomic<LONG> RoleTimeoutSeconds{0};

}  // namespace

DWORD LiveLogLevel() {
    const std::lock_guard lock(LiveParametersLock);
    return LiveParameters.LogLevel;
}

DWORD RoleTimeoutMilliseconds() {
    const LONG seconds = RoleTimeoutSeconds.load(std::memory_order_relaxed);
    return seconds < 0 ? INFINITE : static_cast<DWORD>(seconds) * 1000;
}

ArpRemoveFunction LiveArpRemove() {
    const std::lock_guard lock(LiveParametersLock);
    return LiveParameters.ArpRemove;
}

void StoreLiveParameters(const ServerParameters& record) {
    const std::lock_guard lock(LiveParametersLock);
    LiveParameters = record;
    RoleTimeoutSeconds.store(record.SecondDaemonThreadTimeout, std::memory_order_relaxed);
}

void SetDefaultParameters(ServerParameters* record) {
    std::strcpy(record->DatabasePath, ".\\bootptab");
    std::strcpy(record->LogFile, "bootps.log");
    record->EnableLogging = 0;
    record->LogLevel = 31;
    record->ForceBroadcast = 0;
    record->CacheSize = 1000;
    record->ExpireSeconds = 10;
    record->ExpireHits = 1;
    record->DaemonSensitivity = 1000;
    record->PacketTripRate = 5;
    record->Daemonblksize = 600;
    record->MaxDaemonThreads = 10;
    record->SecondDaemonThreadTimeout = 1;
}

void ApplyParameterLimits(ServerParameters* record) {
    if (record->DaemonSensitivity > 500000) record->DaemonSensitivity = 500000;
    if (record->PacketTripRate > 1000) record->PacketTripRate = 1000;
    if (record->Daemonblksize > 150000) record->Daemonblksize = 150000;
    if (record->MaxDaemonThreads == 0 || record->MaxDaemonThreads > 1000) record->MaxDaemonThreads = 10;
    if (record->Daemonblksize < 600) record->Daemonblksize = 600;
    if (record->SecondDaemonThreadTimeout > 604800) record->SecondDaemonThreadTimeout = 604800;
}

DWORD ClientHeapSize(DWORD cacheSize) {
    const DWORD size = cacheSize * 332;
    return size < 20000 ? 20000 : size;
}
