#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "frame/Accessors.h"
#include "monitor/LoopMonitor.h"
#include "support/StressScale.h"
#include "support/Waiting.h"
#include "threads/ThreadHelper.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"
#include "workloop/Invokant.h"
#include "workloop/MainThreadInvoker.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

// Runs a function; the test owns the task.
class FunctionTask : public Task {
 public:
  FunctionTask(char const* name, std::function<void()> run) : Task(name), m_run(std::move(run)) {}
  void Execute() override { m_run(); }
  void Dispose() override {}

 private:
  std::function<void()> m_run;
};

// What the watchdog reported, in order, as "Hang slow", "HangEnded slow",
// "Congestion next".
class ReportLog {
 public:
  static void Callback(WatchdogReport const& report, void* self) {
    static_cast<ReportLog*>(self)->Add(report);
  }
  void Add(WatchdogReport const& report) {
    static char const* const kinds[] = {"Hang ", "HangEnded ", "Congestion "};
    std::lock_guard<std::mutex> guard(m_lock);
    m_entries.push_back(kinds[report.kind] + std::string(report.activity.taskName));
    m_reports.push_back(report);
    m_changed.notify_all();
  }
  bool WaitFor(std::string const& entry) {
    std::unique_lock<std::mutex> guard(m_lock);
    return WaitUntil(guard, m_changed, [&] {
      for (auto const& e : m_entries) {
        if (e == entry) return true;
      }
      return false;
    });
  }
  std::vector<std::string> Entries() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries;
  }
  std::vector<WatchdogReport> Reports() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_reports;
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<std::string> m_entries;
  std::vector<WatchdogReport> m_reports;
};

// A loop of its own for one test, deleted (and so drained) at the end.
struct OwnLoop {
  explicit OwnLoop(char const* name) : loop(WorkLoop::CreateInstance()) {
    loop->SetFriendlyName(name);
    loop->Run();
  }
  ~OwnLoop() { WorkLoop::DeleteInstance(loop); }
  WorkLoop* const loop;
};

// Runs a function, then opens a gate in its Dispose: the last touch of the
// loop, after which the task may go.
class DisposedTask : public FunctionTask {
 public:
  using FunctionTask::FunctionTask;
  void Dispose() override { disposed.Open(); }
  Gate disposed;
};

// Hands a task to the loop and waits until its Dispose has run.
void RunOn(
    WorkLoop* loop, char const* name, std::function<void()> run = [] {}) {
  DisposedTask task(name, std::move(run));
  ASSERT_NE(loop->PerformTask(&task, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(task.disposed.Wait());
}

TEST(LoopMonitorTest, CountersNameWhatRanLongestAndWaitedLongest) {
  LoopMonitor::EnableCounters(true);
  OwnLoop own("counted");
  Gate release, started;
  FunctionTask blocker("blocker", [&] {
    started.Open();
    release.Wait();
  });
  FunctionTask quick("quick", [] {});
  ASSERT_NE(own.loop->PerformTask(&blocker, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(started.Wait());
  for (int i = 0; i < 5; ++i)
    ASSERT_NE(own.loop->PerformTask(&quick, WorkLoop::PriorityNormal), 0u);
  LoopHealth health{};
  ASSERT_TRUE(LoopMonitor::GetHealth(own.loop, health));
  EXPECT_STREQ(health.loopName, "counted");
  EXPECT_EQ(health.queueLength, 5u);
  EXPECT_EQ(health.queueHighWater, 5u);
  ThreadHelper::Sleep(20);
  release.Open();
  RunOn(own.loop, "last");
  // A task that holds the loop: everything before it is counted, it is not.
  Gate hold, holding;
  FunctionTask holder("holder", [&] {
    holding.Open();
    hold.Wait();
  });
  ASSERT_NE(own.loop->PerformTask(&holder, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(holding.Wait());

  ASSERT_TRUE(LoopMonitor::GetHealth(own.loop, health));
  hold.Open();
  RunOn(own.loop, "end");
  EXPECT_EQ(health.executed, 7u);  // blocker, 5 quick, last
  EXPECT_EQ(health.queueLength, 0u);
  EXPECT_STREQ(health.longestRun.taskName, "blocker");
  EXPECT_GE(health.longestRunMicros, 20000u);
  // A quick one waited behind the blocker the longest.
  EXPECT_STREQ(health.longestWait.taskName, "quick");
  EXPECT_GE(health.longestWaitMicros, 20000u);
  EXPECT_FALSE(LoopMonitor::GetHealth(nullptr, health));
  LoopMonitor::EnableCounters(false);
}

// A delayed task is stamped when it becomes due and often starts within the
// same microsecond: its wait is 0, not the 32-bit stamp's wrap, and a queue
// behind it is no congestion.
TEST(LoopMonitorTest, ATaskStartedAsItBecomesDueWaitedNothing) {
  LoopMonitor::EnableCounters(true);
  ReportLog log;
  LoopMonitor::SetWatchdogCallback(&ReportLog::Callback, &log);
  OwnLoop own("due");
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 1000));
  FunctionTask quick("quick", [] {});
  for (int round = 0; round < 50; ++round) {
    for (int i = 0; i < 5; ++i) {
      ASSERT_NE(own.loop->PerformTaskDelayed(&quick, 1, WorkLoop::PriorityNormal), 0u);
    }
    ThreadHelper::Sleep(3);
  }
  RunOn(own.loop, "end");
  LoopHealth health{};
  ASSERT_TRUE(LoopMonitor::GetHealth(own.loop, health));
  EXPECT_LT(health.longestWaitMicros, 1000000u) << health.longestWait.taskName;
  EXPECT_EQ(log.Entries(), std::vector<std::string>{});
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 0));
  LoopMonitor::SetWatchdogCallback(nullptr, nullptr);
  LoopMonitor::EnableCounters(false);
}

TEST(LoopMonitorTest, WatchdogReportsAHangOnceWhileItRunsAndAgainWhenItEnds) {
  ReportLog log;
  LoopMonitor::SetWatchdogCallback(&ReportLog::Callback, &log);
  OwnLoop own("watched");
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 100));
  EXPECT_TRUE(LoopMonitor::IsHealthy());

  Gate release;
  bool healthyWhileHung = true;
  FunctionTask slow("slow", [&] { release.Wait(); });
  const Tevrol::ULong id = own.loop->PerformTask(&slow, WorkLoop::PriorityNormal);
  ASSERT_TRUE(log.WaitFor("Hang slow"));
  healthyWhileHung = LoopMonitor::IsHealthy();
  EXPECT_EQ(log.Entries(), std::vector<std::string>{"Hang slow"});  // once, and still running
  release.Open();
  ASSERT_TRUE(log.WaitFor("HangEnded slow"));
  EXPECT_FALSE(healthyWhileHung);
  EXPECT_TRUE(LoopMonitor::IsHealthy());

  auto const reports = log.Reports();
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_STREQ(reports[0].loopName, "watched");
  EXPECT_EQ(reports[0].activity.queueId, id);
  EXPECT_GE(reports[0].milliseconds, 100u);
  EXPECT_GE(reports[1].milliseconds, reports[0].milliseconds);

  // Many short tasks under the same limit: nothing to report.
  const int count = 1000 / kStressScale;
  FunctionTask brief("brief", [] { ThreadHelper::Sleep(1); });
  for (int i = 0; i < count; ++i) {
    ASSERT_NE(own.loop->PerformTask(&brief, WorkLoop::PriorityNormal), 0u);
    if (i % 20 == 19) RunOn(own.loop, "step");  // keeps the queue short: no congestion
  }
  RunOn(own.loop, "end");
  EXPECT_EQ(log.Entries().size(), 2u);
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 0));
  LoopMonitor::SetWatchdogCallback(nullptr, nullptr);
}

TEST(LoopMonitorTest, CongestionIsToldApartFromAHang) {
  ReportLog log;
  LoopMonitor::SetWatchdogCallback(&ReportLog::Callback, &log);
  OwnLoop own("congested");
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 50));
  Gate release, started;
  FunctionTask slow("slow", [&] {
    started.Open();
    release.Wait();
  });
  FunctionTask waiting("waiting", [] {});
  ASSERT_NE(own.loop->PerformTask(&slow, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(started.Wait());
  ASSERT_NE(own.loop->PerformTask(&waiting, WorkLoop::PriorityNormal), 0u);
  ASSERT_NE(own.loop->PerformTask(&waiting, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(log.WaitFor("Hang slow"));
  ThreadHelper::Sleep(60);  // the waiting ones are now well past the limit
  release.Open();
  ASSERT_TRUE(log.WaitFor("Congestion waiting")) << ::testing::PrintToString(log.Entries());
  RunOn(own.loop, "end");
  // One congestion report for the episode, not one per waiting task.
  auto const entries = log.Entries();
  EXPECT_EQ(std::count(entries.begin(), entries.end(), "Congestion waiting"), 1);
  EXPECT_TRUE(LoopMonitor::IsHealthy());
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 0));
  LoopMonitor::SetWatchdogCallback(nullptr, nullptr);
}

TEST(LoopMonitorTest, AStuckTickIsReportedWithItsTimer) {
  ReportLog log;
  LoopMonitor::SetWatchdogCallback(&ReportLog::Callback, &log);
  WorkLoop* const timerLoop = LoopMonitor::GetTimerServiceLoop();
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(timerLoop, 100));
  Gate release, fired;
  struct Stuck : TimerContext {
    Stuck() : TimerContext(1, false) {}
    Gate* release = nullptr;
    Gate* fired = nullptr;
    void Tick() override {
      fired->Open();
      release->Wait();
    }
  } stuck;
  stuck.release = &release;
  stuck.fired = &fired;
  TimerCtrl_GetInstance()->NewTimer(&stuck);
  ASSERT_TRUE(fired.Wait());
  ASSERT_TRUE(log.WaitFor("Hang TimerCtrl"));
  EXPECT_FALSE(LoopMonitor::IsHealthy());
  EXPECT_EQ(log.Reports()[0].activity.timer, &stuck);
  release.Open();
  ASSERT_TRUE(log.WaitFor("HangEnded TimerCtrl"));
  EXPECT_TRUE(LoopMonitor::IsHealthy());
  TimerCtrl_GetInstance()->RemoveTimer(&stuck);
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(timerLoop, 0));
  LoopMonitor::SetWatchdogCallback(nullptr, nullptr);
}

std::size_t Count(std::string const& text, std::string const& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(LoopMonitorTest, TraceHoldsEveryTaskAndAFlowFromEachHandOver) {
  ASSERT_TRUE(LoopMonitor::StartTrace(1000));
  {
    OwnLoop own("traced");
    FunctionTask a("alpha", [] {});
    for (int i = 0; i < 3; ++i) ASSERT_NE(own.loop->PerformTask(&a, WorkLoop::PriorityNormal), 0u);
    const Tevrol::ULong cancelled =
        own.loop->PerformTaskDelayed(&a, 60000, WorkLoop::PriorityNormal);
    own.loop->Cancel(cancelled);
    RunOn(own.loop, "beta");
  }
  struct Call : Invokant {
    Gate done;
    void Invoked(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {}
    void Discarded(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override { done.Open(); }
  } call;
  MainThreadInvoker_GetInstance()->Invoke(&call, 1, 2, 3, nullptr);
  ASSERT_TRUE(call.done.Wait());
  LoopMonitor::StopTrace();

  char path[] = "/tmp/tevrol-trace-XXXXXX";
  const int descriptor = mkstemp(path);
  ASSERT_GE(descriptor, 0);
  close(descriptor);
  ASSERT_TRUE(LoopMonitor::WriteTrace(path));
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  unlink(path);
  std::string const json = text.str();

  // alpha three times and the cancelled one (Dispose only), beta, the marker.
  EXPECT_EQ(Count(json, "\"name\":\"alpha\",\"cat\":\"Execute\""), 3u);
  EXPECT_EQ(Count(json, "\"name\":\"alpha\",\"cat\":\"Dispose\""), 4u);
  EXPECT_EQ(Count(json, "\"name\":\"beta\",\"cat\":\"Execute\""), 1u);
  EXPECT_EQ(Count(json, "\"cat\":\"Invoked\""), 1u);
  EXPECT_EQ(Count(json, "\"name\":\"cancel\""), 1u);
  EXPECT_GE(Count(json, "\"name\":\"shutdown\""), 1u);
  // Every flow that starts ends, and the other way round.
  EXPECT_EQ(Count(json, "\"ph\":\"s\""), Count(json, "\"ph\":\"f\""));
  EXPECT_GE(Count(json, "\"ph\":\"f\""), 6u);  // five tasks, one call
  EXPECT_NE(json.find("\"args\":{\"name\":\"traced\"}"), std::string::npos);
  EXPECT_NE(json.find("\"args\":{\"name\":\"MainThreadInvoker [FW]\"}"), std::string::npos);
  EXPECT_FALSE(LoopMonitor::WriteTrace("/nonexistent-folder/trace.json"));
  EXPECT_FALSE(LoopMonitor::StartTrace(0));
}

// Threads of this process named `name`, as the system shows the names.
std::size_t ThreadsNamed(std::string const& name) {
  std::size_t count = 0;
  std::error_code error;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task", error)) {
    std::ifstream comm(entry.path() / "comm");
    std::string line;
    if (std::getline(comm, line) && line == name) ++count;
  }
  return count;
}

// Threads of this process, as the system counts them. Under the emulator
// that count has threads of the emulator's own: watchdog threads only.
std::size_t ThreadCount() {
#if defined(TEVROL_TEST_UNDER_EMULATOR)
  return ThreadsNamed("TevrolWatchdog");
#else
  std::size_t count = 0;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("Threads:", 0) == 0) count = std::stoul(line.substr(8));
  }
  EXPECT_LE(ThreadsNamed("TevrolWatchdog"), 1u);
  return count;
#endif
}

// A thread that was joined may linger in the system's count for a moment,
// and under the emulator a new one shows its name a moment after it
// started: the count, once it has settled.
std::size_t SettledThreadCount(std::size_t expected) {
  for (int i = 0; i < 3000 && ThreadCount() != expected; ++i) ThreadHelper::Sleep(10);
  return ThreadCount();
}

// Counters and the trace start no thread; the first limit starts the
// watchdog's, the last one cleared stops it.
TEST(LoopMonitorTest, OnlyAWatchdogLimitStartsAThread) {
  OwnLoop own("threads");
  RunOn(own.loop, "first");
  const std::size_t before = ThreadCount();
  LoopMonitor::EnableCounters(true);
  ASSERT_TRUE(LoopMonitor::StartTrace(16));
  RunOn(own.loop, "counted");
  EXPECT_EQ(ThreadCount(), before);
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 1000));
  EXPECT_EQ(SettledThreadCount(before + 1), before + 1);
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 1000));  // the same loop again
  EXPECT_EQ(SettledThreadCount(before + 1), before + 1);
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 0));
  EXPECT_EQ(SettledThreadCount(before), before);
  LoopMonitor::StopTrace();
  LoopMonitor::EnableCounters(false);
  EXPECT_FALSE(LoopMonitor::SetWatchdogLimit(nullptr, 10));
}

// A watched loop that goes away stops the watchdog when it was the last one,
// and a later limit starts it again.
TEST(LoopMonitorTest, DeletingTheLastWatchedLoopEndsTheWatchdog) {
  ReportLog log;
  LoopMonitor::SetWatchdogCallback(&ReportLog::Callback, &log);
  OwnLoop other("next");
  RunOn(other.loop, "first");
  const std::size_t before = ThreadCount();
  {
    OwnLoop own("short-lived");
    ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(own.loop, 1000));
  }
  // The watchdog ends on its own thread.
  EXPECT_EQ(SettledThreadCount(before), before);
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(other.loop, 50));
  Gate release;
  FunctionTask slow("slow", [&] { release.Wait(); });
  ASSERT_NE(other.loop->PerformTask(&slow, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(log.WaitFor("Hang slow"));
  release.Open();
  ASSERT_TRUE(log.WaitFor("HangEnded slow"));
  ASSERT_TRUE(LoopMonitor::SetWatchdogLimit(other.loop, 0));
  EXPECT_EQ(SettledThreadCount(before), before);
  LoopMonitor::SetWatchdogCallback(nullptr, nullptr);
}

// The end of the process stops the watchdog, also with a watched task still
// running in a loop of the client and the services in use.
TEST(LoopMonitorDeathTest, ExitWithAWatchedTaskRunningEndsCleanly) {
  EXPECT_EXIT(
      {
        WorkLoop* const loop = WorkLoop::CreateInstance();
        loop->Run();
        LoopMonitor::SetWatchdogLimit(loop, 10);
        LoopMonitor::SetWatchdogLimit(LoopMonitor::GetTimerServiceLoop(), 10);
        LoopMonitor::EnableCounters(true);
        static FunctionTask stuck("stuck", [] {
          for (;;) pause();  // never ends, and nothing at exit waits for it
        });
        loop->PerformTask(&stuck, WorkLoop::PriorityNormal);
        ThreadHelper::Sleep(30);
        std::exit(LoopMonitor::IsHealthy() ? 1 : 7);
      },
      ::testing::ExitedWithCode(7), "");
}

// Loops that hand tasks to each other while another thread switches every
// part of the monitor on and off, reads the health, writes the trace and
// deletes and makes a watched loop: no race, no lost task (the sanitizer
// stages run this).
TEST(LoopMonitorTest, SwitchingEverythingWhileLoopsRunLosesNothing) {
  OwnLoop first("first"), second("second");
  const int rounds = 20000 / kStressScale;
  std::atomic<int> executed{0};
  std::atomic<bool> done{false};
  FunctionTask there("there", [&] { executed.fetch_add(1); });
  FunctionTask back("back", [&] {
    executed.fetch_add(1);
    second.loop->PerformTask(&there, WorkLoop::PriorityNormal);
  });
  std::thread switcher([&] {
    char path[] = "/tmp/tevrol-trace-XXXXXX";
    const int descriptor = mkstemp(path);
    if (descriptor >= 0) close(descriptor);
    for (int i = 0; !done.load(); ++i) {
      LoopMonitor::EnableCounters(i % 2 == 0);
      if (i % 3 == 0) LoopMonitor::StartTrace(64);
      if (i % 3 == 2) LoopMonitor::StopTrace();
      LoopMonitor::SetWatchdogLimit(first.loop, i % 4 == 0 ? 0 : 1000);
      {
        OwnLoop brief("brief");
        LoopMonitor::SetWatchdogLimit(brief.loop, 1000);
      }
      LoopHealth health{};
      LoopMonitor::GetHealth(second.loop, health);
      if (i % 5 == 0 && descriptor >= 0) LoopMonitor::WriteTrace(path);
      LoopMonitor::IsHealthy();
    }
    unlink(path);
  });
  for (int i = 0; i < rounds; ++i) {
    // Normal or above: the drain below, at normal priority, runs after them all.
    const auto priority = static_cast<WorkLoop::EPriorityValue>(WorkLoop::PriorityNormal + i % 3);
    ASSERT_NE(first.loop->PerformTask(&back, priority), 0u);
    if (i % 50 == 49) RunOn(second.loop, "sync");
  }
  RunOn(first.loop, "drain");
  RunOn(second.loop, "drain");
  done.store(true);
  switcher.join();
  EXPECT_EQ(executed.load(), 2 * rounds);
  LoopMonitor::SetWatchdogLimit(first.loop, 0);
  LoopMonitor::StopTrace();
  LoopMonitor::EnableCounters(false);
}

}  // namespace
