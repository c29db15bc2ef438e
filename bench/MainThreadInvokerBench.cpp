// Naming: BM_<Class>_<What>.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "BenchSupport.h"
#include "threads/ThreadHelper.h"
#include "workloop/MainThreadInvokerImpl.h"

namespace {

// Latency of an idle invoker: from Invoke on this thread to the start of
// Invoked on the invoker's thread. Median and p99 as counters.
void BM_MainThreadInvoker_InvokeLatency(benchmark::State& state) {
  struct Stamp : Invokant {
    std::atomic<std::int64_t> at{0};
    std::atomic<int> discarded{0};
    void Invoked(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {
      at.store(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    void Discarded(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {
      discarded.fetch_add(1);
    }
  } stamp;
  MainThreadInvokerImpl invoker;
  std::vector<double> samples;
  for (auto _ : state) {
    state.PauseTiming();
    stamp.at.store(0);
    ThreadHelper::Sleep(1);  // let the invoker's loop fall asleep
    state.ResumeTiming();
    const auto sent = std::chrono::steady_clock::now().time_since_epoch().count();
    invoker.Invoke(&stamp, 0, 0, 0, nullptr);
    while (stamp.at.load() == 0) {
    }
    samples.push_back(static_cast<double>(stamp.at.load() - sent) / 1000.0);
  }
  ReportPercentiles(state, samples, "us");
}
BENCHMARK(BM_MainThreadInvoker_InvokeLatency)->Iterations(2000)->UseRealTime();

}  // namespace
