// Loop health: two work loops, two timers (one cyclic) and an invoked call,
// watched by the loop monitor with a limit of 100 ms, and one task that
// deliberately runs 300 ms. Prints the watchdog's reports as they come and
// each loop's health at the end, writes the task trace, and exits with 0
// only if the watchdog reported that task once as a hang and once as ended.
//
//   loop_health [TRACE.json]     (default: trace.json in the working folder)
//
// tevrol_trace_svg draws the trace as a picture; a trace viewer opens it too.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "frame/Accessors.h"
#include "monitor/LoopMonitor.h"
#include "threads/ThreadHelper.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"
#include "workloop/Invokant.h"
#include "workloop/MainThreadInvoker.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

constexpr Tevrol::ULong kLimitMs = 100;
constexpr Tevrol::ULong kSlowMs = 300;
constexpr int kSteps = 10;    // quick tasks on loop A, before and after the slow one
constexpr int kSamples = 10;  // tasks the cyclic timer hands to loop B

// How many times something happened, from any thread; waits are bounded so
// that a fault ends the program instead of hanging it.
class Counter {
 public:
  void Add() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_count;
    m_changed.notify_all();
  }
  bool WaitFor(int count) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_count >= count; });
  }
  int Get() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_count = 0;
};

// The watchdog's reports, printed as they come (on the watchdog's thread).
class Reports {
 public:
  static void Callback(WatchdogReport const& report, void* self) {
    static char const* const kKinds[] = {"Hang", "HangEnded", "Congestion"};
    std::printf("  watchdog: %-10s %s, task \"%s\", %u ms\n", kKinds[report.kind], report.loopName,
                report.activity.taskName, static_cast<unsigned>(report.milliseconds));
    std::fflush(stdout);
    auto* const reports = static_cast<Reports*>(self);
    std::lock_guard<std::mutex> lock(reports->m_mutex);
    reports->m_reports.push_back(report);
    reports->m_changed.notify_all();
  }
  bool WaitForEnd(char const* task) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [&] {
      for (WatchdogReport const& report : m_reports) {
        if (report.kind == WatchdogReport::HangEnded &&
            std::strcmp(report.activity.taskName, task) == 0) {
          return true;
        }
      }
      return false;
    });
  }
  std::vector<WatchdogReport> Get() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_reports;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<WatchdogReport> m_reports;
};

// Works for a while and counts. One object may be queued many times; it
// lives until the loops are deleted, so Dispose has nothing to free.
class WorkTask : public Task {
 public:
  WorkTask(char const* name, Tevrol::ULong milliseconds) : Task(name), m_ms(milliseconds) {}
  void Execute() override {
    ThreadHelper::Sleep(m_ms);
    done.Add();
  }
  void Dispose() override {}
  Counter done;

 private:
  Tevrol::ULong m_ms;
};

// Cyclic: hands a sample task to loop B at each of its first kSamples ticks.
class Sampler : public TimerContext {
 public:
  Sampler(WorkLoop* loop, WorkTask& sample)
      : TimerContext(20, true), m_loop(loop), m_sample(sample) {}
  void Tick() override {
    if (m_handed < kSamples && m_loop->PerformTask(&m_sample, WorkLoop::PriorityNormal) != 0) {
      ++m_handed;  // only the timer thread counts
    }
  }

 private:
  WorkLoop* m_loop;
  WorkTask& m_sample;
  int m_handed = 0;
};

// Once: hands a task to a loop.
class OneShot : public TimerContext {
 public:
  OneShot(WorkLoop* loop, WorkTask& task) : TimerContext(60, false), m_loop(loop), m_task(task) {}
  void Tick() override { m_loop->PerformTask(&m_task, WorkLoop::PriorityNormal); }

 private:
  WorkLoop* m_loop;
  WorkTask& m_task;
};

// Called on the invoker's thread: hands a task to a loop.
class Call : public Invokant {
 public:
  Call(WorkLoop* loop, WorkTask& task) : m_loop(loop), m_task(task) {}
  void Invoked(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {
    m_loop->PerformTask(&m_task, WorkLoop::PriorityNormal);
  }
  void Discarded(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override { discarded.Add(); }
  Counter discarded;

 private:
  WorkLoop* m_loop;
  WorkTask& m_task;
};

double Ms(std::uint64_t micros) {
  return static_cast<double>(micros) / 1000.0;
}

void PrintHealth(WorkLoop* loop) {
  LoopHealth health{};
  if (!LoopMonitor::GetHealth(loop, health)) return;
  std::printf(
      "  %-24s %3llu executed, queue %u (at most %u), longest run %.1f ms (%s), "
      "longest wait %.1f ms (%s)",
      health.loopName, static_cast<unsigned long long>(health.executed),
      static_cast<unsigned>(health.queueLength), static_cast<unsigned>(health.queueHighWater),
      Ms(health.longestRunMicros), health.longestRun.taskName, Ms(health.longestWaitMicros),
      health.longestWait.taskName);
  if (health.worstLateTimer != nullptr) {
    std::printf(", Tick late by %.1f ms at most", Ms(health.worstTickLatenessMicros));
  }
  std::printf("\n");
}

// A task is counted once it has ended, after its Dispose, so a task that
// has just signalled from Execute may not be counted yet: wait a little for
// the loop's count to reach `count`.
bool WaitForExecuted(WorkLoop* loop, std::uint64_t count) {
  LoopHealth health{};
  for (int i = 0; i < 2000; ++i) {
    if (LoopMonitor::GetHealth(loop, health) && health.executed >= count) {
      return health.executed == count;
    }
    ThreadHelper::Sleep(1);
  }
  return false;
}

bool g_allGood = true;

void Check(bool good, char const* what) {
  std::printf("%s: %s\n", good ? "ok" : "FAILED", what);
  g_allGood = g_allGood && good;
}

}  // namespace

int main(int argc, char** argv) {
  char const* const tracePath = argc > 1 ? argv[1] : "trace.json";
  Reports reports;
  LoopMonitor::EnableCounters(true);
  LoopMonitor::SetWatchdogCallback(&Reports::Callback, &reports);
  // Room for every event of this run: the oldest would be overwritten.
  LoopMonitor::StartTrace(20000);

  WorkLoop* const loopA = WorkLoop::CreateInstance();
  loopA->SetFriendlyName("loop A");
  loopA->Run();
  WorkLoop* const loopB = WorkLoop::CreateInstance();
  loopB->SetFriendlyName("loop B");
  loopB->Run();
  WorkLoop* const watched[] = {loopA, loopB, LoopMonitor::GetTimerServiceLoop(),
                               LoopMonitor::GetInvokerLoop()};
  for (WorkLoop* loop : watched) LoopMonitor::SetWatchdogLimit(loop, kLimitMs);
  std::printf("watching loop A, loop B, the timer service and the invoker, limit %u ms\n",
              static_cast<unsigned>(kLimitMs));

  WorkTask step("step", 2), slow("slow", kSlowMs), sample("sample", 1);
  WorkTask delayed("delayed", 1), afterTimer("after one-shot", 1), fromCall("from invoker", 1);
  Sampler sampler(loopB, sample);
  OneShot oneShot(loopA, afterTimer);
  Call call(loopA, fromCall);
  TimerCtrl* const timers = TimerCtrl_GetInstance();
  timers->NewTimer(&sampler);
  timers->NewTimer(&oneShot);
  MainThreadInvoker_GetInstance()->Invoke(&call, 1, 2, 3, nullptr);
  loopB->PerformTaskDelayed(&delayed, 50, WorkLoop::PriorityNormal);

  // Quick work first, and nothing queued behind the slow task: its wait
  // would be reported as congestion.
  std::printf("loop A: %d quick tasks, the one-shot timer's and the invoker's\n", kSteps);
  for (int i = 0; i < kSteps; ++i) loopA->PerformTask(&step, WorkLoop::PriorityNormal);
  bool ran = step.done.WaitFor(kSteps) && afterTimer.done.WaitFor(1) && fromCall.done.WaitFor(1) &&
             call.discarded.WaitFor(1);
  std::printf("loop A: a task of %u ms\n", static_cast<unsigned>(kSlowMs));
  loopA->PerformTask(&slow, WorkLoop::PriorityNormal);
  ran = slow.done.WaitFor(1) && ran;
  const bool ended = reports.WaitForEnd("slow");
  std::printf("loop A: %d quick tasks more\n", kSteps);
  for (int i = 0; i < kSteps; ++i) loopA->PerformTask(&step, WorkLoop::PriorityNormal);
  ran = step.done.WaitFor(2 * kSteps) && sample.done.WaitFor(kSamples) && delayed.done.WaitFor(1) &&
        ran;
  // Also waits for a Tick that runs now; the contexts may go after this.
  timers->RemoveTimer(&sampler);
  timers->RemoveTimer(&oneShot);
  const bool healthy = LoopMonitor::IsHealthy();
  // Every task of loop A: the quick ones, the slow one, the one-shot timer's
  // and the invoker's; of loop B: the samples and the delayed one.
  const bool counted =
      WaitForExecuted(loopA, 2 * kSteps + 3) && WaitForExecuted(loopB, kSamples + 1);

  std::printf("health:\n");
  for (WorkLoop* loop : watched) PrintHealth(loop);
  for (WorkLoop* loop : watched) LoopMonitor::SetWatchdogLimit(loop, 0);
  LoopMonitor::SetWatchdogCallback(nullptr, nullptr);
  // Drains and stops the loops; their shutdown is in the trace.
  WorkLoop::DeleteInstance(loopA);
  WorkLoop::DeleteInstance(loopB);
  LoopMonitor::StopTrace();
  const bool written = LoopMonitor::WriteTrace(tracePath);

  int hangs = 0, ends = 0, others = 0;
  for (WatchdogReport const& report : reports.Get()) {
    const bool isSlow = std::strcmp(report.activity.taskName, "slow") == 0 &&
                        std::strcmp(report.loopName, "loop A") == 0;
    if (isSlow && report.kind == WatchdogReport::Hang) {
      ++hangs;
    } else if (isSlow && report.kind == WatchdogReport::HangEnded &&
               report.milliseconds >= kSlowMs) {
      ++ends;
    } else {
      ++others;
    }
  }
  Check(ran, "every task ran");
  Check(counted, "the counters counted every task");
  Check(hangs == 1 && ends == 1 && ended,
        "the slow task was reported once as a hang and once "
        "as ended");
  // Only a very busy machine delays a quick task past the limit.
  if (others != 0) std::printf("note: %d other reports\n", others);
  Check(healthy, "healthy at the end");
  Check(written, "trace written");
  if (written) std::printf("trace: %s\n", tracePath);
  std::printf("%s\n", g_allGood ? "all as expected" : "something went wrong");
  return g_allGood ? 0 : 1;
}
