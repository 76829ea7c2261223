#include "service/server_parameters.h"

#include <atomic>
#include <cstring>

#include "diagnostics/event_report.h"
#include "service/parameter_table.h"

ServerParameters LiveParameters;

namespace {

// SecondDaemonThreadTimeout of the live record, for every thread that has done its request.
std::atomic<LONG> RoleTimeoutSeconds{0};

}  // namespace

DWORD RoleTimeoutMilliseconds() {
    const LONG seconds = RoleTimeoutSeconds.load(std::memory_order_relaxed);
    return seconds < 0 ? INFINITE : static_cast<DWORD>(seconds) * 1000;
}

void StoreLiveParameters(const ServerParameters& record) {
    LiveParameters = record;
    RoleTimeoutSeconds.store(record.SecondDaemonThreadTimeout, std::memory_order_relaxed);
    InstallEventMask(record.LogLevel);
    LimitEventRepeats(record.EventRepeatSeconds);
}

void SetDefaultParameters(ServerParameters* record) {
    for (const TextParameter& row : TextParameters())
        if (row.installed != nullptr && TextOf(record, row) != record->HelperDLL)
            std::strcpy(TextOf(record, row), row.installed);
    for (const NumberParameter& row : NumberParameters())
        if (row.installPlace != NotInstalled) NumberOf(record, row) = row.installed;
}

void ApplyParameterLimits(ServerParameters* record) {
    for (const NumberParameter& row : NumberParameters()) {
        DWORD& number = NumberOf(record, row);
        const std::int64_t value = row.least < 0 ? static_cast<LONG>(number) : std::int64_t{number};
        if (value >= row.least && value <= row.most) continue;
        const std::int64_t nearest = value < row.least ? row.least : row.most;
        number = row.outsideIsInstalled ? row.installed : static_cast<DWORD>(nearest);
    }
}

DWORD ClientHeapSize(DWORD cacheSize) {
    const DWORD size = cacheSize * 332;
    return size < 20000 ? 20000 : size;
}
