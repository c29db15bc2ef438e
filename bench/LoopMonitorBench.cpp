// What the loop monitor costs a task: off, with the counters, with the
// trace, under a watchdog limit, and all together. The loop is driven pass by
// pass on the benchmark's thread, so the figure is the hand-over and the
// pass alone, without a thread switch.

#include <benchmark/benchmark.h>

#include "monitor/LoopMonitor.h"
#include "workloop/Task.h"
#include "workloop/WorkLoopImpl.h"

namespace {

class NothingTask : public Task {
 public:
  NothingTask() : Task("nothing") {}
  void Execute() override {}
  void Dispose() override {}
};

enum Mode { Off, Counters, Trace, Watchdog, All };

}  // namespace

static void BM_LoopMonitor_TaskCost(benchmark::State& state) {
  const auto mode = static_cast<Mode>(state.range(0));
  auto* const loop = new WorkLoopImpl;
  loop->BeginRunForTesting();
  if (mode == Counters || mode == All) LoopMonitor::EnableCounters(true);
  if (mode == Trace || mode == All) LoopMonitor::StartTrace(1 << 16);
  if (mode == Watchdog || mode == All) LoopMonitor::SetWatchdogLimit(loop, 1000);
  NothingTask task;
  WorkLoopImpl::IdleWait wait;
  for (auto _ : state) {
    loop->PerformTask(&task, WorkLoop::PriorityNormal);
    loop->ExecutePass(wait);
  }
  state.SetItemsProcessed(state.iterations());
  LoopMonitor::SetWatchdogLimit(loop, 0);
  LoopMonitor::StopTrace();
  LoopMonitor::EnableCounters(false);
  loop->Shutdown(nullptr);
  while (loop->ExecutePass(wait)) {
  }
  loop->EndRunForTesting();
  delete loop;
}
BENCHMARK(BM_LoopMonitor_TaskCost)->DenseRange(Off, All)->ArgName("mode");
