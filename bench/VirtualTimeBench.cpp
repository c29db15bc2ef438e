// Naming: BM_<Class>_<What>. What a test pays for virtual time: a day of a
// one-second cyclic timer moved through in one advance (86,400 deadlines,
// each a wake-up of the timer service and a wait for it to go quiet), and
// one delayed task's round trip. Its own executable: it switches the process
// to virtual time, and links the test-support library as a client does.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>

#include "frame/Accessors.h"
#include "testing/VirtualTime.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

using Tevrol::Testing::VirtualTime;

void EnableOnce() {
  static const bool s_enabled = VirtualTime::Enable(1000);
  if (!s_enabled) std::abort();
}

struct Counting : TimerContext {
  Counting() : TimerContext(1000, true) {}
  void Tick() override { ++fired; }
  std::uint64_t fired = 0;  // written on the service's thread between advances only
};

void BM_VirtualTime_DayOfOneSecondTimer(benchmark::State& state) {
  EnableOnce();
  TimerCtrl* timers = TimerCtrl_GetInstance();
  Counting timer;
  for (auto _ : state) {
    timers->NewTimer(&timer);
    if (VirtualTime::Advance(24u * 3600u * 1000u) != VirtualTime::Result::Done) {
      state.SkipWithError("an advance did not end quiet");
    }
    timers->RemoveTimer(&timer);
    VirtualTime::FastForward(10000);
  }
  state.counters["fires"] =
      static_cast<double>(timer.fired) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_VirtualTime_DayOfOneSecondTimer)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime();

struct Noop : Task {
  Noop() : Task("Noop") {}
  void Execute() override {}
  void Dispose() override {}
};

void BM_VirtualTime_DelayedTaskRoundTrip(benchmark::State& state) {
  EnableOnce();
  WorkLoop* loop = WorkLoop::CreateInstance();
  loop->Run();
  Noop task;
  for (auto _ : state) {
    loop->PerformTaskDelayed(&task, 10, WorkLoop::PriorityNormal);
    VirtualTime::Advance(10);
  }
  WorkLoop::DeleteInstance(loop);
}
BENCHMARK(BM_VirtualTime_DelayedTaskRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
