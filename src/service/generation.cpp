#include "service/generation.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <utility>

#include "database/client_entry.h"

struct Generation {
    ServerParameters record;
    unsigned users;  // guarded by GenerationLock
};

namespace {

std::mutex GenerationLock;
Generation* CurrentGeneration;
unsigned GenerationsAlive;
std::condition_variable GenerationReleased;

// Caller holds GenerationLock.
bool DropUse(Generation* generation) {
    return --generation->users == 0;
}

}  // namespace

Generation* MakeGeneration(ServerParameters* record) {
    auto* generation = new (std::nothrow) Generation{};
    if (generation == nullptr) return nullptr;
    record->Owner = generation;
    generation->record = *record;
    generation->users = 1;
    const std::lock_guard lock(GenerationLock);
    ++GenerationsAlive;
    return generation;
}

Generation* InstallGeneration(Generation* generation) {
    StoreLiveParameters(generation->record);
    const std::lock_guard lock(GenerationLock);
    return std::exchange(CurrentGeneration, generation);
}

Generation* UninstallGeneration() {
    const std::lock_guard lock(GenerationLock);
    return std::exchange(CurrentGeneration, nullptr);
}

Generation* PinCurrentGeneration() {
    const std::lock_guard lock(GenerationLock);
    if (CurrentGeneration != nullptr) ++CurrentGeneration->users;
    return CurrentGeneration;
}

void ReleaseGeneration(Generation* generation) {
    {
        const std::lock_guard lock(GenerationLock);
        if (!DropUse(generation)) return;
    }
    ReleaseParameters(&generation->record);
    delete generation;
    const std::lock_guard lock(GenerationLock);
    --GenerationsAlive;
    GenerationReleased.notify_all();
}

const ServerParameters& RecordOf(const Generation* generation) {
    return generation->record;
}

bool WaitForGenerations(DWORD milliseconds) {
    std::unique_lock lock(GenerationLock);
    return GenerationReleased.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                       [] { return GenerationsAlive == 0; });
}

void ReleaseParameters(ServerParameters* record) {
    for (const ClientEntry* entry = record->ClientList; entry != nullptr; entry = entry->next)
        CloseHandle(entry->mutex);
    record->ClientList = nullptr;  // the entries themselves go with the heap
    record->OptionCatalogue = nullptr;
    if (record->ClientHeap != nullptr) HeapDestroy(record->ClientHeap);
    record->ClientHeap = nullptr;
    if (record->LogHandle != nullptr) CloseHandle(record->LogHandle);
    record->LogHandle = nullptr;
    if (record->LogMutex != nullptr) CloseHandle(record->LogMutex);
    record->LogMutex = nullptr;
}

HANDLE DuplicateOwnHandle(HANDLE handle) {
    HANDLE copy = nullptr;
    if (handle != nullptr)
        DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
    return copy;
}
