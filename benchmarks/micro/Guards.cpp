// The scoped lock that each pass of each loop takes.

#include <benchmark/benchmark.h>

#include "threading/Mutex.h"
#include "threading/MutexGuard.h"

namespace {

// As the loops do it.
void GuardLockAndRelease(benchmark::State& state) {
    const Threading::Mutex mutex("clientMessageQueueMutex");
    for ([[maybe_unused]] auto unused : state) {
        Threading::MutexGuard guard = mutex.NewGuard();
        benchmark::DoNotOptimize(guard.Lock(5));
        guard.Release();
    }
}

// From a mutex object and a copy of the name.
void GuardWithACopiedName(benchmark::State& state) {
    const Threading::Mutex mutex("clientMessageQueueMutex");
    for ([[maybe_unused]] auto unused : state) {
        Threading::MutexGuard guard(mutex.GetMutex(), mutex.GetName(), false, 0);
        benchmark::DoNotOptimize(guard.Lock(5));
        guard.Release();
    }
}

// Its warning is filtered out here.
void GuardLockWithoutTimeout(benchmark::State& state) {
    const Threading::Mutex mutex("clientMessageQueueMutex");
    for ([[maybe_unused]] auto unused : state) {
        Threading::MutexGuard guard = mutex.NewGuard();
        benchmark::DoNotOptimize(guard.Lock());
        guard.Release();
    }
}

BENCHMARK(GuardLockAndRelease);
BENCHMARK(GuardWithACopiedName);
BENCHMARK(GuardLockWithoutTimeout);

}  // namespace
