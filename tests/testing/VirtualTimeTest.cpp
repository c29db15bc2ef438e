// Delayed tasks, timers, the invoker, the configuration store and waits in
// virtual time, with exact expectations. Every process starts 5 s before the
// tick wraps at 2^32 ms, so each test also crosses or nears the wrap.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "config/ConfigSystem.h"
#include "config/ConfigSystemManager.h"
#include "file/InputStreamBuffer.h"
#include "frame/Accessors.h"
#include "testing/VirtualTime.h"
#include "threads/Runnable.h"
#include "threads/Thread.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"
#include "timetext/StopWatch.h"
#include "workloop/Invokant.h"
#include "workloop/MainThreadInvoker.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

using Tevrol::Testing::VirtualTime;
using Result = VirtualTime::Result;

constexpr Tevrol::Tick kStart = 0u - 5000u;  // 5 s before the wrap

// Virtual milliseconds since the test began, across the wrap.
Tevrol::Tick g_testStart = 0;
long Since() {
  return static_cast<long>(static_cast<Tevrol::Tick>(TevrolTimerNow() - g_testStart));
}

// What happened, and when in virtual time.
class Log {
 public:
  void Add(std::string what) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_entries.emplace_back(std::move(what), Since());
  }
  std::vector<std::pair<std::string, long>> Take() {
    std::lock_guard<std::mutex> guard(m_lock);
    return std::move(m_entries);
  }

 private:
  std::mutex m_lock;
  std::vector<std::pair<std::string, long>> m_entries;
};
using Entries = std::vector<std::pair<std::string, long>>;

class Logged : public Task {
 public:
  Logged(Log& log, std::string name) : Task("Logged"), m_log(log), m_name(std::move(name)) {}
  void Execute() override { m_log.Add(m_name); }
  void Dispose() override {}

 private:
  Log& m_log;
  std::string m_name;
};

class Recorder : public TimerContext {
 public:
  Recorder(Log& log, std::string name, Tevrol::Long interval, bool cyclic)
      : TimerContext(interval, cyclic), m_log(log), m_name(std::move(name)) {}
  void Tick() override {
    m_log.Add(m_name);
    ++ticks;
  }
  std::atomic<long> ticks{0};

 private:
  Log& m_log;
  std::string m_name;
};

class VirtualTimeTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(VirtualTime::IsEnabled());
    ASSERT_EQ(VirtualTime::RunUntilIdle(), Result::Done);
    g_testStart = VirtualTime::Now();
    m_loop = WorkLoop::CreateInstance();
    ASSERT_TRUE(m_loop->Run());
  }
  // Nothing may stay pending (a removed timer's last wake-up of the service
  // runs here), so the next test starts with no deadline of this one.
  void TearDown() override {
    WorkLoop::DeleteInstance(m_loop);
    EXPECT_EQ(VirtualTime::FastForward(3600000), Result::Done);
  }

  WorkLoop* m_loop = nullptr;
  Log m_log;
};

class Called : public Invokant {
 public:
  explicit Called(Log& log) : m_log(log) {}
  void Invoked(Tevrol::ULong p1, Tevrol::ULong, Tevrol::ULong, void*) override {
    m_log.Add("invoked " + std::to_string(p1));
  }
  void Discarded(Tevrol::ULong, Tevrol::ULong, Tevrol::ULong, void*) override {}

 private:
  Log& m_log;
};

class InvokeFromTask : public Task {
 public:
  explicit InvokeFromTask(Called& called) : Task("InvokeFromTask"), m_called(called) {}
  void Execute() override { MainThreadInvoker_GetInstance()->Invoke(&m_called, 2, 0, 0, nullptr); }
  void Dispose() override {}

 private:
  Called& m_called;
};

// Sleeps once in Thread::Sleep, then ends its thread.
class Sleeper : public Runnable {
 public:
  void WorkingLoop(Thread* thread) override {
    thread->Sleep(5300);
    waited = Since();
    done = true;
    thread->EndFromRunnable();
  }
  std::atomic<long> waited{-1};
  std::atomic<bool> done{false};
};

// The real-wrap check's scenario, in virtual time: everything crosses 2^32.
TEST_F(VirtualTimeTest, WorkLoopTimerInvokerAndWaitsCrossTheWrap) {
  // To 5 s before the wrap first: in a repeated run the clock is elsewhere.
  ASSERT_EQ(VirtualTime::Advance(static_cast<Tevrol::Tick>(kStart - VirtualTime::Now())),
            Result::Done);
  g_testStart = VirtualTime::Now();
  ASSERT_EQ(g_testStart, kStart);
  // A client's thread sleeps across the wrap; its sleep is in place before
  // anything else is pending.
  Sleeper sleeper;
  Thread client(&sleeper);
  client.Start();
  Tevrol::Tick deadline = 0;
  while (!VirtualTime::NextDeadline(deadline)) std::this_thread::yield();
  EXPECT_EQ(deadline, kStart + 5300u);

  std::vector<std::unique_ptr<Logged>> tasks;
  for (Tevrol::ULong delay : {3000u, 500u, 2000u, 1000u, 5000u, 6000u}) {
    tasks.push_back(std::make_unique<Logged>(m_log, "task " + std::to_string(delay)));
    m_loop->PerformTaskDelayed(tasks.back().get(), delay, WorkLoop::PriorityNormal);
  }
  Called called(m_log);
  InvokeFromTask invoke(called);
  m_loop->PerformTaskDelayed(&invoke, 5200, WorkLoop::PriorityNormal);
  TimerCtrl* timers = TimerCtrl_GetInstance();
  Recorder cyclic(m_log, "cyclic", 1700, true), oneShot(m_log, "once", 5500, false);
  timers->NewTimer(&cyclic);
  timers->NewTimer(&oneShot);

  StopWatch watch;
  // An advance does not wait for a client's thread: join it before going on.
  EXPECT_EQ(VirtualTime::Advance(5300), Result::Done);
  while (!sleeper.done) std::this_thread::yield();
  client.Stop();
  EXPECT_EQ(VirtualTime::Advance(1700), Result::Done);
  const Tevrol::ULong watched = watch.GetTimeElapsed();
  timers->RemoveTimer(&cyclic);

  EXPECT_LT(TevrolTimerNow(), 5000u) << "the tick did not wrap";
  EXPECT_EQ(sleeper.waited, 5300);
  EXPECT_EQ(watched, 7000u);
  EXPECT_EQ(m_log.Take(), (Entries{{"task 500", 500},
                                   {"task 1000", 1000},
                                   {"cyclic", 1700},
                                   {"task 2000", 2000},
                                   {"task 3000", 3000},
                                   {"cyclic", 3400},
                                   {"task 5000", 5000},
                                   {"cyclic", 5100},
                                   {"invoked 2", 5200},
                                   {"once", 5500},
                                   {"task 6000", 6000},
                                   {"cyclic", 6800}}));
  MainThreadInvoker_GetInstance()->RemoveInvokant(&called);
}

TEST_F(VirtualTimeTest, DelayedTasksRunInDueOrderAndEqualDueTimesInHandOverOrder) {
  struct {
    char const* name;
    Tevrol::ULong delay;
  } const plan[] = {{"c300", 300},  {"a100", 100}, {"b200", 200},  {"a100'", 100},
                    {"c300'", 300}, {"now", 0},    {"a100''", 100}};
  std::vector<std::unique_ptr<Logged>> tasks;
  for (auto const& p : plan) {
    tasks.push_back(std::make_unique<Logged>(m_log, p.name));
    ASSERT_NE(m_loop->PerformTaskDelayed(tasks.back().get(), p.delay, WorkLoop::PriorityNormal),
              0u);
  }
  EXPECT_EQ(VirtualTime::RunUntilIdle(), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"now", 0}}));
  EXPECT_EQ(VirtualTime::Advance(99), Result::Done);
  EXPECT_TRUE(m_log.Take().empty());
  Tevrol::Tick next = 0;
  ASSERT_TRUE(VirtualTime::NextDeadline(next));
  EXPECT_EQ(next, g_testStart + 100u);
  EXPECT_EQ(VirtualTime::Advance(1), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"a100", 100}, {"a100'", 100}, {"a100''", 100}}));
  EXPECT_EQ(VirtualTime::Advance(1000), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"b200", 200}, {"c300", 300}, {"c300'", 300}}));
  EXPECT_FALSE(VirtualTime::NextDeadline(next));
  EXPECT_EQ(Since(), 1100);
}

TEST_F(VirtualTimeTest, OneShotAndCyclicTimersFireAtTheirExactTimes) {
  TimerCtrl* timers = TimerCtrl_GetInstance();
  Recorder cyclic(m_log, "cyclic", 250, true), oneShot(m_log, "once", 600, false);
  timers->NewTimer(&cyclic);
  timers->NewTimer(&oneShot);
  EXPECT_EQ(VirtualTime::Advance(1000), Result::Done);
  EXPECT_EQ(
      m_log.Take(),
      (Entries{
          {"cyclic", 250}, {"cyclic", 500}, {"once", 600}, {"cyclic", 750}, {"cyclic", 1000}}));
  EXPECT_TRUE(timers->IsRegistered(&cyclic));
  EXPECT_FALSE(timers->IsRegistered(&oneShot));
  timers->RemoveTimer(&cyclic);
  EXPECT_EQ(VirtualTime::Advance(1000), Result::Done);
  EXPECT_TRUE(m_log.Take().empty());
}

// Removes another timer from its own Tick at its third firing.
class Remover : public Recorder {
 public:
  Remover(Log& log, TimerContextInterface& victim)
      : Recorder(log, "remover", 100, true), m_victim(victim) {}
  void Tick() override {
    Recorder::Tick();
    if (ticks == 3) TimerCtrl_GetInstance()->RemoveTimer(&m_victim);
  }

 private:
  TimerContextInterface& m_victim;
};

TEST_F(VirtualTimeTest, RemoveTimerDuringAnAdvance) {
  TimerCtrl* timers = TimerCtrl_GetInstance();
  Recorder victim(m_log, "victim", 100, true);
  Remover remover(m_log, victim);
  timers->NewTimer(&remover);  // first: at equal deadlines it fires first
  timers->NewTimer(&victim);
  EXPECT_EQ(VirtualTime::Advance(500), Result::Done);
  timers->RemoveTimer(&remover);
  EXPECT_EQ(victim.ticks, 2);
  EXPECT_EQ(remover.ticks, 5);
  EXPECT_FALSE(timers->IsRegistered(&victim));
}

TEST_F(VirtualTimeTest, TheInvokerRunsAtOnceAndFromADelayedTask) {
  Called called(m_log);
  InvokeFromTask later(called);
  MainThreadInvoker_GetInstance()->Invoke(&called, 1, 0, 0, nullptr);
  EXPECT_EQ(VirtualTime::RunUntilIdle(), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"invoked 1", 0}}));
  m_loop->PerformTaskDelayed(&later, 500, WorkLoop::PriorityNormal);
  EXPECT_EQ(VirtualTime::Advance(499), Result::Done);
  EXPECT_TRUE(m_log.Take().empty());
  EXPECT_EQ(VirtualTime::Advance(1), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"invoked 2", 500}}));
  MainThreadInvoker_GetInstance()->RemoveInvokant(&called);
}

TEST_F(VirtualTimeTest, TheConfigurationStoreEndsItsChangeCycleAfterTenSeconds) {
  ConfigSystem* store = ConfigSystemManager_GetInstance()->GetConfigSystem("virtual");
  ASSERT_NE(store, nullptr);
  TimerCtrl* timers = TimerCtrl_GetInstance();
  ASSERT_TRUE(store->StoreNumericalValue("group", "key", 1));
  ASSERT_EQ(VirtualTime::RunUntilIdle(), Result::Done);
  EXPECT_TRUE(timers->IsRegistered(store));
  EXPECT_EQ(VirtualTime::Advance(5000), Result::Done);
  ASSERT_TRUE(store->StoreNumericalValue("group", "key", 2));  // does not prolong it
  EXPECT_EQ(VirtualTime::Advance(4999), Result::Done);
  EXPECT_TRUE(timers->IsRegistered(store));
  EXPECT_EQ(VirtualTime::Advance(1), Result::Done);
  EXPECT_FALSE(timers->IsRegistered(store));
  Tevrol::Long value = 0;
  EXPECT_TRUE(store->RetrieveNumericalValue("group", "key", value, 0));
  EXPECT_EQ(value, 2);
}

TEST_F(VirtualTimeTest, ACyclicOneSecondTimerFiresExactly86400TimesADay) {
  TimerCtrl* timers = TimerCtrl_GetInstance();
  Log unused;
  Recorder cyclic(unused, "second", 1000, true);
  timers->NewTimer(&cyclic);
  EXPECT_EQ(VirtualTime::Advance(24u * 3600u * 1000u), Result::Done);
  timers->RemoveTimer(&cyclic);
  EXPECT_EQ(cyclic.ticks, 86400);
}

// Tries to move time on from inside the library.
class AdvanceFromTask : public Task {
 public:
  AdvanceFromTask() : Task("AdvanceFromTask") {}
  void Execute() override { result = VirtualTime::Advance(10); }
  void Dispose() override {}
  std::atomic<Result> result{Result::Done};
};

class AdvanceFromTick : public TimerContext {
 public:
  AdvanceFromTick() : TimerContext(10, false) {}
  void Tick() override { result = VirtualTime::FastForward(10); }
  std::atomic<Result> result{Result::Done};
};

TEST_F(VirtualTimeTest, AnAdvanceFromATaskOrATickIsRefused) {
  AdvanceFromTask task;
  AdvanceFromTick tick;
  m_loop->PerformTask(&task, WorkLoop::PriorityNormal);
  TimerCtrl_GetInstance()->NewTimer(&tick);
  EXPECT_EQ(VirtualTime::Advance(10), Result::Done);
  EXPECT_EQ(task.result, Result::Refused);
  EXPECT_EQ(tick.result, Result::Refused);
  EXPECT_EQ(Since(), 10);
}

TEST_F(VirtualTimeTest, FastForwardRunsUntilNothingIsPendingOrSaysItHitTheLimit) {
  Logged a(m_log, "a"), b(m_log, "b");
  m_loop->PerformTaskDelayed(&a, 40000, WorkLoop::PriorityNormal);
  m_loop->PerformTaskDelayed(&b, 70000, WorkLoop::PriorityNormal);
  EXPECT_EQ(VirtualTime::FastForward(3600000), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"a", 40000}, {"b", 70000}}));
  EXPECT_EQ(Since(), 70000);  // stops at the last deadline

  Recorder cyclic(m_log, "cyclic", 30000, true);
  TimerCtrl_GetInstance()->NewTimer(&cyclic);
  EXPECT_EQ(VirtualTime::FastForward(100000), Result::LimitHit);
  TimerCtrl_GetInstance()->RemoveTimer(&cyclic);
  EXPECT_EQ(cyclic.ticks, 3);
  EXPECT_EQ(Since(), 170000);
}

TEST_F(VirtualTimeTest, LongAdvancesGoInStepsThatKeepTicksComparable) {
  Logged late(m_log, "late");
  const std::uint64_t began = VirtualTime::Elapsed();
  m_loop->PerformTaskDelayed(&late, 0x7FFFFFFFu, WorkLoop::PriorityNormal);
  EXPECT_EQ(VirtualTime::Advance(std::uint64_t{3} << 31), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"late", 0x7FFFFFFF}}));
  EXPECT_EQ(VirtualTime::Elapsed() - began, std::uint64_t{3} << 31);
}

// Blocks on something real: a condition the test releases.
class Blocking : public Task {
 public:
  Blocking() : Task("Blocking") {}
  void Execute() override {
    std::unique_lock<std::mutex> guard(lock);
    released.wait(guard, [this] { return open; });
    ran = true;
  }
  void Dispose() override {}
  void Open() {
    std::lock_guard<std::mutex> guard(lock);
    open = true;
    released.notify_all();
  }
  std::mutex lock;
  std::condition_variable released;
  bool open = false;
  std::atomic<bool> ran{false};
};

TEST_F(VirtualTimeTest, DueWorkThatBlocksOnSomethingRealEndsTheWaitAsStillBusy) {
  Blocking blocking;
  m_loop->PerformTaskDelayed(&blocking, 100, WorkLoop::PriorityNormal);
  VirtualTime::SetBusyTimeout(200);
  EXPECT_EQ(VirtualTime::Advance(100), Result::StillBusy);
  EXPECT_FALSE(blocking.ran);
  blocking.Open();
  VirtualTime::SetBusyTimeout(2000);
  EXPECT_EQ(VirtualTime::RunUntilIdle(), Result::Done);
  EXPECT_TRUE(blocking.ran);
}

// A task that runs a second loop on its own thread until that loop ends:
// the thread is one busy thread, not two, so the inner loop's idle wait is
// quiet and its delayed task comes at its time.
class EndsItsLoop : public Task {
 public:
  EndsItsLoop(Log& log, WorkLoop*& loop) : Task("EndsItsLoop"), m_log(log), m_loop(loop) {}
  void Execute() override {
    m_log.Add("inner");
    WorkLoop::DeleteInstance(m_loop);
  }
  void Dispose() override {}

 private:
  Log& m_log;
  WorkLoop*& m_loop;
};

class RunsALoopBlocking : public Task {
 public:
  explicit RunsALoopBlocking(Log& log)
      : Task("RunsALoopBlocking"), m_log(log), m_ends(log, m_inner) {}
  void Execute() override {
    m_inner = WorkLoop::CreateInstance();
    m_inner->PerformTaskDelayed(&m_ends, 300, WorkLoop::PriorityNormal);
    m_inner->RunBlocking();
    m_log.Add("outer");
  }
  void Dispose() override {}

 private:
  Log& m_log;
  WorkLoop* m_inner = nullptr;
  EndsItsLoop m_ends;
};

TEST_F(VirtualTimeTest, ALoopRunBlockingInsideATaskCountsItsThreadOnce) {
  // Counted twice, the thread would never be quiet and its inner loop would
  // wait for ever: the loop and the task are then left behind, not waited for.
  auto* outer = new RunsALoopBlocking(m_log);
  m_loop->PerformTask(outer, WorkLoop::PriorityNormal);
  VirtualTime::SetBusyTimeout(500);
  const Result idle = VirtualTime::RunUntilIdle();
  VirtualTime::SetBusyTimeout(2000);
  if (idle != Result::Done) {
    m_loop = nullptr;
    FAIL() << "the thread of a nested loop run is not quiet while it waits";
  }
  EXPECT_TRUE(m_log.Take().empty());
  ASSERT_EQ(VirtualTime::Advance(300), Result::Done);
  EXPECT_EQ(m_log.Take(), (Entries{{"inner", 300}, {"outer", 300}}));
  delete outer;
}

// A device that has nothing to deliver for a while: each poll takes the 50 ms
// of the source's own time-out, in virtual time, on the reading thread.
class SlowSource : public InputStream {
 public:
  explicit SlowSource(long dataAt) : m_dataAt(dataAt) {}
  Tevrol::ULong Read(unsigned char* buffer, Tevrol::ULong length,
                     Tevrol::ULong* bytesRead) override {
    ++polls;
    if (VirtualTime::Advance(static_cast<std::uint64_t>(m_timeout)) != Result::Done) {
      return kStreamFailure;
    }
    *bytesRead = 0;
    if (Since() >= m_dataAt && length > 0) {
      buffer[0] = 'x';
      *bytesRead = 1;
    }
    return kStreamSuccess;
  }
  Tevrol::ULong Flush() override { return kStreamSuccess; }
  Tevrol::ULong EnableWait() override { return kStreamFailure; }
  Tevrol::ULong WaitForData() override { return kStreamFailure; }
  Tevrol::ULong DisableWait() override { return kStreamFailure; }
  void Cancel() override {}
  void SetReadTimeout(Tevrol::Long milliseconds) override { m_timeout = milliseconds; }
  Tevrol::Long GetReadTimeout() override { return m_timeout; }
  int polls = 0;

 private:
  long m_dataAt;
  Tevrol::Long m_timeout = 50;
};

TEST_F(VirtualTimeTest, TheBufferedInputTimesOutOnVirtualTime) {
  struct {
    Tevrol::Long timeout;
    long dataAt;
    Tevrol::ULong result;
    int polls;
    long endsAt;
  } const cases[] = {
      {5000, 1000000, kStreamTimeout, 101, 5050},  // the first poll past 5000 ms ends it
      {1000, 1000000, kStreamTimeout, 21, 1050},
      {5000, 1200, kStreamSuccess, 24, 1200},  // data before the time-out
  };
  for (auto const& c : cases) {
    SlowSource source(c.dataAt);
    InputStreamBuffer buffered(&source, 64);
    buffered.SetReadTimeout(c.timeout);
    g_testStart = VirtualTime::Now();
    unsigned char byte = 0;
    Tevrol::ULong got = 0;
    EXPECT_EQ(buffered.Read(&byte, 1, &got), c.result) << c.timeout << " " << c.dataAt;
    EXPECT_EQ(source.polls, c.polls) << c.timeout << " " << c.dataAt;
    EXPECT_EQ(Since(), c.endsAt) << c.timeout << " " << c.dataAt;
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Before anything of the library exists: the switch is refused afterwards.
  if (!VirtualTime::Enable(kStart)) return 1;
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
