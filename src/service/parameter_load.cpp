#include "service/parameter_load.h"

#include "diagnostics/messages.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "database/database_result.h"
#include "database/load/client_list.h"
#include "database/option_catalogue.h"
#include "diagnostics/activity_log.h"
#include "diagnostics/event_report.h"

DWORD TotalCacheBytes;

namespace {

constexpr DWORD LogHandOverWait = 1000;

// One failure of the load and its event.
struct FailureReport {
    DWORD answer;  // the result of the database operation
    LoadResult result;
    DWORD event;
    bool namesDatabase;  // the event inserts the path
};

constexpr FailureReport CatalogueFailures[] = {
    {OutOfMemory, LoadReaderNoMemory, EVENT_START_NO_MEMORY, false},
    {DatabaseCorrupt, LoadCatalogueCorrupt, EVENT_DATABASE_CORRUPT, true},
    {BlockNotReleased, LoadReaderReleaseFailed, EVENT_RELEASE_FAILED, false},
    {DatabaseMissing, LoadDatabaseMissing, EVENT_DATABASE_MISSING, true},
};

constexpr FailureReport ListFailures[] = {
    {OutOfMemory, LoadListNoMemory, EVENT_CACHE_NO_MEMORY, false},
    {DatabaseCorrupt, LoadListCorrupt, EVENT_DATABASE_CORRUPT, true},
    {BlockNotReleased, LoadListReleaseFailed, EVENT_RELEASE_FAILED, false},
};

template <std::size_t N>
LoadResult ReportFailure(const ServerParameters* record, const FailureReport (&table)[N], DWORD answer,
                         LoadResult otherwise) {
    for (const FailureReport& row : table) {
        if (row.answer != answer) continue;
        if (row.namesDatabase)
            LogEventText(row.event, record->DatabasePath, record->LogLevel);
        else
            LogEvent(row.event, record->LogLevel);
        return row.result;
    }
    SetLastError(answer);
    ReportSystemError();
    return otherwise;
}

void CloseCarriedLog(ServerParameters* record) {
    if (record->LogHandle != nullptr) {
        const DWORD waited = WaitForSingleObject(record->LogMutex, LogHandOverWait);
        CloseHandle(record->LogHandle);
        record->LogHandle = nullptr;
        if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED) ReleaseMutex(record->LogMutex);
    }
    if (record->LogMutex != nullptr) CloseHandle(record->LogMutex);
    record->LogMutex = CreateMutexA(nullptr, FALSE, nullptr);
}

LoadResult ReadRegistry(ServerParameters* record) {
    char name[ParameterTextSize] = {};
    const DWORD result =
        ReadRegistryParameters(HKEY_LOCAL_MACHINE, record, name, ServiceKey, ParametersKey, AgentKey);
    if (record == &LiveParameters) InstallEventMask(record->LogLevel);
    if (result == RegistryReadOk) return LoadOk;
    char text[2 * ParameterTextSize];
    std::snprintf(text, sizeof text, "Error accessing the registry key setting for '%s'", name);
    LogEventText(EVENT_ERROR_TEXT, text, AllEvents);
    return LoadRegistryFailed;
}

LoadResult OpenLog(ServerParameters* record) {
    char path[ParameterTextSize] = {};
    char* filePart = nullptr;
    const DWORD length = GetFullPathNameA(record->LogFile, sizeof path, path, &filePart);
    if (length == 0 || length >= sizeof path) {
        ReportSystemError();
        return LoadLogPathFailed;
    }
    std::memcpy(record->LogFile, path, sizeof path);
    // At a reload the log of the old generation stays open until its last user lets go. So it is shared for
    // writing as well, and each line goes to where the file ends then.
    const HANDLE file = CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        LogEventError(EVENT_LOG_FILE_FAILED, GetLastError(), record->LogLevel);
        return LoadLogFailed;
    }
    record->LogHandle = file;
    return LoadOk;
}

void DecideBroadcastOnly(ServerParameters* record) {
    if (record->ForceBroadcast != 0) return;
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExA(&version)) {
        LogEventError(EVENT_VERSION_UNKNOWN, GetLastError(), record->LogLevel);
        record->ForceBroadcast = 1;
    } else if (IsBroadcastOnlySystem(version.dwMajorVersion, version.dwMinorVersion, version.szCSDVersion)) {
        LogEvent(EVENT_BROADCAST_ONLY, record->LogLevel);
        record->ForceBroadcast = 1;
    }
}

LoadResult MakeHeap(ServerParameters* record) {
    const DWORD size = ClientHeapSize(record->CacheSize);
    record->ClientHeap = HeapCreate(0, size, 0);
    if (record->ClientHeap != nullptr) return LoadOk;
    char text[16];
    std::snprintf(text, sizeof text, "%u", static_cast<unsigned>(size));
    LogEventText(EVENT_HEAP_FAILED, text, record->LogLevel);
    return LoadHeapFailed;
}

// The number of options isn't known beforehand: blocks of ten rows more are offered until the rows fit. A
// huge section grows by an eighth at a time, or it would be read once for every ten of its keys.
LoadResult ReadCatalogue(ServerParameters* record) {
    for (DWORD capacity = 69;; capacity += std::max<DWORD>(10, capacity / 8)) {
        if (record->OptionCatalogue != nullptr) {
            void* const tooSmall = record->OptionCatalogue;
            record->OptionCatalogue = nullptr;
            if (!HeapFree(record->ClientHeap, 0, tooSmall)) {
                LogEvent(EVENT_START_NO_MEMORY, record->LogLevel);
                return LoadCatalogueReleaseFailed;
            }
        }
        const SIZE_T size = (capacity + 1) * sizeof(OptionDefinition);
        record->OptionCatalogue =
            static_cast<OptionDefinition*>(HeapAlloc(record->ClientHeap, HEAP_ZERO_MEMORY, size));
        if (record->OptionCatalogue == nullptr) {
            LogEvent(EVENT_START_NO_MEMORY, record->LogLevel);
            return LoadCatalogueNoMemory;
        }
        const DWORD answer =
            ReadOptionCatalogue(record->ClientHeap, record->DatabasePath, capacity, record->OptionCatalogue);
        if (answer == DatabaseOk) return LoadOk;
        if (answer != CatalogueTooSmall)
            return ReportFailure(record, CatalogueFailures, answer, LoadCatalogueFailed);
    }
}

LoadResult LoadClients(ServerParameters* record) {
    const DWORD answer = LoadClientDatabase(
        record->TerminateStrings, record->ClientHeap, record->DatabasePath, &TotalCacheBytes,
        &record->ClientList, &record->CacheSize, record->OptionCatalogue, ReportMalformedEntry);
    if (answer == DatabaseOk) return LoadOk;
    if (answer == LoadAborted) return LoadInterrupted;
    return ReportFailure(record, ListFailures, answer, LoadListFailed);
}

template <typename Function>
Function EntryPoint(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

LoadResult BindHelper(ServerParameters* record) {
    if (record->HelperLibrary != nullptr) return LoadOk;
    record->HelperLibrary = LoadLibraryA(record->HelperDLL);
    if (record->HelperLibrary == nullptr) {
        LogEvent(EVENT_HELPER_MISSING, AllEvents);
        return LoadHelperMissing;
    }
    record->ArpAdd = EntryPoint<ArpAddFunction>(record->HelperLibrary, "ArpAdd");
    record->ArpRemove = EntryPoint<ArpRemoveFunction>(record->HelperLibrary, "ArpRemove");
    if (record->ArpAdd != nullptr && record->ArpRemove != nullptr) return LoadOk;
    LogEvent(EVENT_HELPER_ENTRY_MISSING, AllEvents);
    return LoadHelperEntryMissing;
}

LoadResult BuildRecord(ServerParameters* record) {
    LoadResult result = ReadRegistry(record);
    if (result != LoadOk) return result;
    if (record->LogFile[0] == '\0') record->EnableLogging = 0;
    if (record->EnableLogging != 0) result = OpenLog(record);
    if (result != LoadOk) return result;
    ApplyParameterLimits(record);
    DecideBroadcastOnly(record);
    for (const auto step : {MakeHeap, ReadCatalogue, LoadClients, BindHelper}) {
        result = step(record);
        if (result != LoadOk) return result;
    }
    record->EnableLogging = 1;
    return LoadOk;
}

}  // namespace

bool IsBroadcastOnlySystem(DWORD major, DWORD minor, const char* servicePack) {
    if (major != 3) return false;
    if (minor != 51) return true;
    for (const char* text : {"", "Service Pack 1", "Service Pack 2", "Service Pack 3"})
        if (std::strcmp(servicePack, text) == 0) return true;
    return false;
}

LoadResult LoadParameters(ServerParameters* record) {
    record->EnableLogging = 0;
    CloseCarriedLog(record);
    const LoadResult result = BuildRecord(record);
    if (record->EnableLogging != 0) WriteStartBanner(record->LogHandle, record->LogMutex);
    return result;
}
