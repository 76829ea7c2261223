#include "service/generation.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>

#include "database/client_entry.h"

struct Generation {
    ServerParameters record;
    std::atomic<unsigned> users;
    DWORD number;
};

namespace {

// Between reading CurrentGeneration and counting a use of it, its last user must not let go: that takes this
// lock, for all but the listener, who alone changes it.
std::mutex GenerationLock;
std::atomic<Generation*> CurrentGeneration;
unsigned GenerationsAlive;
DWORD GenerationsMade;
std::condition_variable GenerationReleased;

}  // namespace

Generation* MakeGeneration(ServerParameters* record) {
    auto* generation = new (std::nothrow) Generation{};
    if (generation == nullptr) return nullptr;
    record->Owner = generation;
    generation->record = *record;
    generation->users = 1;
    const std::lock_guard lock(GenerationLock);
    ++GenerationsAlive;
    generation->number = ++GenerationsMade;
    return generation;
}

Generation* InstallGeneration(Generation* generation) {
    StoreLiveParameters(generation->record);
    const std::lock_guard lock(GenerationLock);
    return CurrentGeneration.exchange(generation);
}

Generation* UninstallGeneration() {
    const std::lock_guard lock(GenerationLock);
    return CurrentGeneration.exchange(nullptr);
}

Generation* PinCurrentGeneration() {
    const std::lock_guard lock(GenerationLock);
    return PinAsListener();
}

Generation* PinAsListener() {
    Generation* const generation = CurrentGeneration.load();
    if (generation != nullptr) ++generation->users;
    return generation;
}

void ReleaseGeneration(Generation* generation) {
    if (--generation->users != 0) return;
    ReleaseParameters(&generation->record);
    delete generation;
    const std::lock_guard lock(GenerationLock);
    --GenerationsAlive;
    GenerationReleased.notify_all();
}

const ServerParameters& RecordOf(const Generation* generation) {
    return generation->record;
}

DWORD NumberOf(const Generation* generation) {
    return generation->number;
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

PinnedGeneration::PinnedGeneration(Generation* held) {
    counted_ = held != CurrentGeneration.load();
    generation_ = counted_ ? PinCurrentGeneration() : held;
}

PinnedGeneration::~PinnedGeneration() {
    if (counted_ && generation_ != nullptr) ReleaseGeneration(generation_);
}
