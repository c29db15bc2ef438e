// Naming: BM_<Class>_<What>.
#include <benchmark/benchmark.h>

#include "frame/Accessors.h"
#include "frame/ProcessData.h"
#include "frame/ProcessDataFactory.h"

// An accessor after its first call: a guard check and a return, no lock.
static void BM_Accessor_ProcessDataFactory(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(ProcessDataFactory_GetInstance());
  }
}
BENCHMARK(BM_Accessor_ProcessDataFactory)->ThreadRange(1, 2)->UseRealTime();

static void BM_ProcessData_IsMainThread(benchmark::State& state) {
  ProcessData* data = ProcessDataFactory_GetInstance()->GetProcessData();
  for (auto _ : state) {
    benchmark::DoNotOptimize(data->IsMainThread());
  }
}
BENCHMARK(BM_ProcessData_IsMainThread);
