// Naming: BM_<Class>_<What>; std::mutex and std::recursive_mutex are the floor.
#include <benchmark/benchmark.h>

#include <mutex>

#include "threads/CriticalSection.h"

static void BM_CriticalSection_LockUnlock(benchmark::State& state) {
  static CriticalSection lock;
  for (auto _ : state) {
    lock.Lock();
    lock.Unlock();
  }
}
BENCHMARK(BM_CriticalSection_LockUnlock)->ThreadRange(1, 2)->UseRealTime();

static void BM_StdRecursiveMutex_LockUnlock(benchmark::State& state) {
  static std::recursive_mutex lock;
  for (auto _ : state) {
    lock.lock();
    lock.unlock();
  }
}
BENCHMARK(BM_StdRecursiveMutex_LockUnlock)->ThreadRange(1, 2)->UseRealTime();

static void BM_StdMutex_LockUnlock(benchmark::State& state) {
  static std::mutex lock;
  for (auto _ : state) {
    lock.lock();
    lock.unlock();
  }
}
BENCHMARK(BM_StdMutex_LockUnlock)->ThreadRange(1, 2)->UseRealTime();
