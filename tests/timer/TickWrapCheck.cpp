// Delayed tasks, cyclic and one-shot timers, the invoker, and waits with a
// time-out across the real 2^32 ms wrap of the tick, with no test offset.
// The CI runs it as
//   unshare --time --fork --monotonic SECONDS tickwrap_check
// with SECONDS chosen from "tickwrap_check --monotonic-seconds" so that
// CLOCK_MONOTONIC passes 4294967.296 s a few seconds after the start. Not
// registered with CTest: on an unshifted clock it refuses to run.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "frame/Accessors.h"
#include "threads/SetResetEvent.h"
#include "threads/ThreadHelper.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"
#include "timetext/StopWatch.h"
#include "workloop/Invokant.h"
#include "workloop/MainThreadInvoker.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

using Clock = std::chrono::steady_clock;

// Milliseconds since the check began, on a 64-bit clock that does not wrap.
Clock::time_point g_start;
long SinceStart() {
  return static_cast<long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - g_start).count());
}

class Log {
 public:
  void Add(long delay) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_entries.push_back({delay, SinceStart()});
  }
  std::vector<std::pair<long, long>> Entries() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries;
  }

 private:
  std::mutex m_lock;
  std::vector<std::pair<long, long>> m_entries;  // (what, when)
};

class Delayed : public Task {
 public:
  Delayed(Log& log, long delay) : Task("Delayed"), m_log(log), m_delay(delay) {}
  void Execute() override { m_log.Add(m_delay); }
  void Dispose() override {}

 private:
  Log& m_log;
  long m_delay;
};

class Recorder : public TimerContext {
 public:
  Recorder(Log& log, Tevrol::Long interval, bool cyclic)
      : TimerContext(interval, cyclic), m_log(log) {}
  void Tick() override { m_log.Add(GetIntervall()); }

 private:
  Log& m_log;
};

class Called : public Invokant {
 public:
  void Invoked(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {
    at.store(SinceStart());
  }
  void Discarded(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {}
  std::atomic<long> at{-1};
};

// Hands a call to the invoker from the work loop, after the wrap.
class InvokeLater : public Task {
 public:
  explicit InvokeLater(Called& called) : Task("InvokeLater"), m_called(called) {}
  void Execute() override { MainThreadInvoker_GetInstance()->Invoke(&m_called, 1, 2, 3, nullptr); }
  void Dispose() override {}

 private:
  Called& m_called;
};

constexpr long kLead = 1500;   // ms before the wrap at which the check starts
constexpr long kSlack = 1500;  // generous lateness allowed for any event

TEST(TickWrap, WorkLoopTimerInvokerAndWaitsCrossTheWrap) {
  Tevrol::Tick const toWrap = 0u - TevrolTimerNow();
  ASSERT_LT(toWrap, 120000u) << "the tick is not near 2^32: run under unshare --time";
  if (toWrap > static_cast<Tevrol::Tick>(kLead)) ThreadHelper::Sleep(toWrap - kLead);
  g_start = Clock::now();
  Tevrol::Tick const before = TevrolTimerNow();
  ASSERT_GT(before, 0xFFFF0000u) << "started too late, after the wrap";

  Log tasks, timers;
  WorkLoop* loop = WorkLoop::CreateInstance();
  ASSERT_TRUE(loop->Run());
  std::vector<Delayed*> delayed;
  for (long delay : {3000L, 500L, 2000L, 1000L}) {
    delayed.push_back(new Delayed(tasks, delay));
    ASSERT_NE(loop->PerformTaskDelayed(delayed.back(), static_cast<Tevrol::ULong>(delay),
                                       WorkLoop::PriorityNormal),
              0u);
  }
  Called called;
  InvokeLater invokeLater(called);
  loop->PerformTaskDelayed(&invokeLater, 2200, WorkLoop::PriorityNormal);

  TimerCtrl* timerService = TimerCtrl_GetInstance();
  Recorder cyclic(timers, 200, true), oneShot(timers, 2500, false);
  timerService->NewTimer(&cyclic);
  timerService->NewTimer(&oneShot);

  StopWatch watch;
  detail::SetResetEvent never;
  never.WaitFor(2500);  // spans the wrap
  long const waited = SinceStart();
  Tevrol::ULong const watched = watch.GetTimeElapsed();
  ThreadHelper::Sleep(1500);  // the last delayed task is due at 3000
  timerService->RemoveTimer(&cyclic);
  timerService->RemoveTimer(&oneShot);
  WorkLoop::DeleteInstance(loop);
  for (Delayed* d : delayed) delete d;
  MainThreadInvoker_GetInstance()->RemoveInvokant(&called);

  EXPECT_LT(TevrolTimerNow(), 0x10000u) << "the tick did not wrap during the check";
  EXPECT_GE(waited, 2500);
  EXPECT_LT(waited, 2500 + kSlack);
  EXPECT_GE(watched, 2500u);
  EXPECT_LT(watched, 2500u + kSlack);

  // Delayed tasks: in time order, none early, none very late.
  auto ran = tasks.Entries();
  ASSERT_EQ(ran.size(), 4u);
  long expected[] = {500, 1000, 2000, 3000};
  for (size_t i = 0; i < ran.size(); ++i) {
    EXPECT_EQ(ran[i].first, expected[i]);
    EXPECT_GE(ran[i].second, expected[i] - 1) << "delay " << expected[i];
    EXPECT_LT(ran[i].second, expected[i] + kSlack) << "delay " << expected[i];
  }
  EXPECT_GE(called.at.load(), 2200 - 1);
  EXPECT_LT(called.at.load(), 2200 + kSlack);

  // Timers: the one-shot once, on time; the cyclic one on both sides of the
  // wrap without a gap.
  long oneShots = 0, lastCyclic = 0, maxGap = 0, cyclicTicks = 0;
  for (auto const& entry : timers.Entries()) {
    if (entry.first == 2500) {
      ++oneShots;
      EXPECT_GE(entry.second, 2500 - 1);
      EXPECT_LT(entry.second, 2500 + kSlack);
    } else {
      ++cyclicTicks;
      maxGap = std::max(maxGap, entry.second - lastCyclic);
      lastCyclic = entry.second;
    }
  }
  EXPECT_EQ(oneShots, 1);
  EXPECT_GE(cyclicTicks, 10);  // about 20 in 4 s
  EXPECT_LT(maxGap, 1000);
  EXPECT_GT(lastCyclic, 3000);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--monotonic-seconds") == 0) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    std::printf("%lld\n", static_cast<long long>(now.tv_sec));
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
