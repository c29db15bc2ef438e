// Naming: BM_<Class>_<What>. Timer lateness (fire time minus deadline, in
// ticks) and the cost of registering one more timer beside n others.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include "BenchSupport.h"
#include "threads/ThreadHelper.h"
#include "threads/Tick.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrlImpl.h"

namespace {
struct Stamped : TimerContext {
  std::atomic<Tevrol::Tick> firedAt{0};
  std::atomic<int>* remaining = nullptr;
  void Tick() override {
    firedAt.store(TevrolTimerNow());
    remaining->fetch_sub(1);
  }
};
struct Silent : TimerContext {
  void Tick() override {}
};
}  // namespace

// 1,000 one-shot timers spread evenly over 200 ms; p50 and p99 of how late
// each fired, in milliseconds.
static void BM_TimerCtrl_Lateness(benchmark::State& state) {
  constexpr int kTimers = 1000;
  TimerCtrlImpl timers;
  std::vector<double> lateness;
  for (auto _ : state) {
    std::vector<std::unique_ptr<Stamped>> contexts;
    std::atomic<int> remaining{kTimers};
    for (int i = 0; i < kTimers; ++i) {
      contexts.push_back(std::make_unique<Stamped>());
      contexts.back()->remaining = &remaining;
      contexts.back()->SetIntervall(static_cast<Tevrol::ULong>(i * 200 / kTimers));
      timers.NewTimer(contexts.back().get());
    }
    while (remaining.load() > 0) ThreadHelper::Sleep(1);
    for (auto const& c : contexts) {
      lateness.push_back(detail::TickDifference(c->firedAt.load(), c->GetTimeout()));
    }
  }
  ReportPercentiles(state, lateness, "ms");
}
BENCHMARK(BM_TimerCtrl_Lateness)->Iterations(3)->UseRealTime();

// NewTimer + RemoveTimer of one timer while n others are registered further
// out: both walk the list, so the cost grows linearly with n.
static void BM_TimerCtrl_NewTimerBesideOthers(benchmark::State& state) {
  TimerCtrlImpl timers;
  std::vector<Silent> others(static_cast<size_t>(state.range(0)));
  for (auto& other : others) {
    other.SetIntervall(3600000);
    timers.NewTimer(&other);
  }
  Silent probe;
  probe.SetIntervall(7200000);  // behind all of them
  for (auto _ : state) {
    timers.NewTimer(&probe);
    timers.RemoveTimer(&probe);
  }
  for (auto& other : others) timers.RemoveTimer(&other);
}
BENCHMARK(BM_TimerCtrl_NewTimerBesideOthers)->Arg(100)->Arg(1000)->Arg(10000);
