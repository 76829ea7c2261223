// What taking a mutex and giving it back costs, when no other thread wants it and when a pool of threads
// does.
#include <benchmark/benchmark.h>

#include "platform/windows_api.h"

namespace {

HANDLE SharedMutex() {
    static const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    return mutex;
}

void BM_Mutex(benchmark::State& state) {
    const HANDLE mutex = SharedMutex();
    for (auto _ : state) {
        if (WaitForSingleObject(mutex, INFINITE) != WAIT_OBJECT_0)
            state.SkipWithError("the mutex wasn't had");
        ReleaseMutex(mutex);
    }
}
BENCHMARK(BM_Mutex)->Threads(1)->Threads(2)->Threads(11)->UseRealTime();

}  // namespace
