// Naming: BM_<Class>_<What>; std::chrono::steady_clock is the floor.
#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

#include "threads/PDStdOperations.h"
#include "threads/SetResetEvent.h"

static void BM_PDStdOperations_GetTickCount(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(PDStdOperations::GetTickCount());
  }
}
BENCHMARK(BM_PDStdOperations_GetTickCount);

static void BM_SteadyClock_Now(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
  }
}
BENCHMARK(BM_SteadyClock_Now);

// One round trip between two threads over two events: what a hand-over to a
// sleeping thread costs.
static void BM_SetResetEvent_PingPong(benchmark::State& state) {
  detail::SetResetEvent ping, pong;
  bool stop = false;
  std::thread partner([&] {
    for (;;) {
      ping.Wait();
      ping.Reset();
      if (stop) break;
      pong.Set();
    }
  });
  for (auto _ : state) {
    ping.Set();
    pong.Wait();
    pong.Reset();
  }
  stop = true;
  ping.Set();
  partner.join();
}
BENCHMARK(BM_SetResetEvent_PingPong)->UseRealTime();
