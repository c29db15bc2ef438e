#include "timer/TimerCtrlImpl.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "frame/Accessors.h"
#include "support/Journal.h"
#include "support/RecordingRunnable.h"
#include "support/StressScale.h"
#include "threads/Tick.h"
#include "threads/TickOffsetForTesting.h"
#include "timer/TimerContext.h"
#include "workloop/WorkLoopImpl.h"

namespace {

// Writes its name to a journal on every Tick, then runs onTick.
struct NamedTimer : TimerContext {
  NamedTimer(Journal& journal, std::string name, Tevrol::Long intervall, bool cyclic)
      : TimerContext(intervall, cyclic), journal(journal), name(std::move(name)) {}
  void Tick() override {
    ticks.fetch_add(1);
    firedAt.store(TevrolTimerNow());
    journal.Add(name + std::to_string(ticks.load()));
    if (onTick) onTick();
  }
  Journal& journal;
  std::string name;
  std::function<void()> onTick;
  std::atomic<int> ticks{0};
  std::atomic<Tevrol::Tick> firedAt{0};
};

struct TimerCtrlImplTest : ::testing::Test {
  Journal journal;
  TimerCtrlImpl timers;  // a service of the test's own, destroyed before the contexts' journal
  void TearDown() override { detail::SetTickOffsetForTesting(0); }
};

TEST_F(TimerCtrlImplTest, DeadlinesFireInTimeOrderAcrossTheWrapEqualOnesInInsertionOrder) {
  detail::SetTickOffsetForTesting(0u - TevrolTimerNow() - 100u);  // 100 ms before 2^32
  const Tevrol::Tick start = TevrolTimerNow();
  NamedTimer late(journal, "late", 250, false), early(journal, "early", 50, false),
      mid(journal, "mid", 150, false), first(journal, "first", 0, false),
      second(journal, "second", 0, false), far(journal, "far", 0, false);
  far.SetIntervall(0x80000000u + 60000u);  // reads as a deadline in the past
  // The due ones first: any of them may fire before the next is registered.
  for (NamedTimer* t : {&far, &first, &second, &late, &early, &mid}) timers.NewTimer(t);
  ASSERT_TRUE(journal.WaitFor("late1"));
  EXPECT_EQ(journal.Entries(),
            std::vector<std::string>({"far1", "first1", "second1", "early1", "mid1", "late1"}));
  for (NamedTimer* t : {&early, &mid, &late}) {
    EXPECT_GE(detail::TickDifference(t->firedAt.load(), start + t->GetIntervall()), 0) << t->name;
  }
  EXPECT_LT(late.firedAt.load(), 0x10000u);  // after the wrap
}

TEST_F(TimerCtrlImplTest, OneShotFiresOnceCyclicUntilRemovedOrMadeOneShot) {
  NamedTimer once(journal, "once", 10, false), cyclic(journal, "cyclic", 5, true),
      zero(journal, "zero", 0, true);
  std::atomic<bool> onceRegisteredInTick{true}, cyclicRegisteredInTick{false};
  once.onTick = [&] { onceRegisteredInTick = timers.IsRegistered(&once); };
  cyclic.onTick = [&] {
    if (cyclic.ticks.load() == 1) cyclicRegisteredInTick = timers.IsRegistered(&cyclic);
    if (cyclic.ticks.load() == 3) cyclic.SetCyclic(false);  // fires once more, then ends
  };
  for (NamedTimer* t : {&once, &cyclic, &zero}) EXPECT_TRUE(timers.NewTimer(t));
  EXPECT_TRUE(timers.NewTimer(&once));  // registered already: no change
  ASSERT_TRUE(journal.WaitFor("cyclic4"));
  ASSERT_TRUE(journal.WaitFor("zero20"));  // interval 0, cyclic: again and again
  EXPECT_TRUE(timers.RemoveTimer(&zero));
  ThreadHelper::Sleep(50);
  EXPECT_EQ(once.ticks.load(), 1);
  EXPECT_EQ(cyclic.ticks.load(), 4);
  EXPECT_FALSE(onceRegisteredInTick);
  EXPECT_TRUE(cyclicRegisteredInTick);
  EXPECT_FALSE(timers.IsRegistered(&cyclic));
  NamedTimer never(journal, "never", 10, false);
  EXPECT_FALSE(timers.RemoveTimer(&never));
  EXPECT_FALSE(timers.RemoveTimer(nullptr));
  EXPECT_FALSE(timers.NewTimer(nullptr));
  EXPECT_FALSE(timers.ChangeTimer(nullptr));
}

TEST_F(TimerCtrlImplTest, CallsWithinATick) {
  NamedTimer other(journal, "other", 60000, false), selfCyclic(journal, "cyclic", 60000, true),
      selfOnce(journal, "once", 0, false), fresh(journal, "fresh", 0, false);
  std::vector<int> results;
  selfOnce.onTick = [&] {
    if (selfOnce.ticks.load() > 1) return;
    results.push_back(timers.RemoveTimer(&other));     // another context: 1, at once
    results.push_back(timers.RemoveTimer(&selfOnce));  // itself, one-shot: 0, no blocking
    timers.NewTimer(&fresh);                           // fires later, never within this Tick
    results.push_back(fresh.ticks.load());
    timers.NewTimer(&selfOnce);  // armed again
  };
  timers.NewTimer(&other);
  timers.NewTimer(&selfOnce);
  ASSERT_TRUE(journal.WaitFor("once2"));
  ASSERT_TRUE(journal.WaitFor("fresh1"));
  EXPECT_EQ(results, std::vector<int>({1, 0, 0}));

  selfCyclic.onTick = [&] {
    const Tevrol::ULong armed = selfCyclic.GetTimeout();
    timers.NewTimer(&selfCyclic);  // cyclic: keeps the deadline Execute gave it
    results.push_back(selfCyclic.GetTimeout() == armed);
    results.push_back(timers.ChangeTimer(&selfCyclic));  // new deadline from now
    results.push_back(timers.RemoveTimer(&selfCyclic));  // cyclic: registered, so 1
    journal.Add("cyclicDone");
  };
  selfCyclic.SetIntervall(0);
  timers.NewTimer(&selfCyclic);
  ASSERT_TRUE(journal.WaitFor("cyclicDone"));
  ThreadHelper::Sleep(20);
  EXPECT_EQ(results, std::vector<int>({1, 0, 0, 1, 1, 1}));
  EXPECT_EQ(selfCyclic.ticks.load(), 1);
}

TEST_F(TimerCtrlImplTest, RemoveTimerWaitsForTheRunningTickWhichMayThenDestroyItsContext) {
  Gate inTick, release;
  NamedTimer slow(journal, "slow", 0, false);
  slow.onTick = [&] {
    inTick.Open();
    release.Wait();
  };
  timers.NewTimer(&slow);
  ASSERT_TRUE(inTick.Wait());
  std::atomic<bool> removed{false};
  std::thread remover([&] {
    timers.RemoveTimer(&slow);
    removed.store(true);
  });
  ThreadHelper::Sleep(50);
  EXPECT_FALSE(removed.load());
  release.Open();
  remover.join();
  EXPECT_TRUE(removed.load());

  // A heap context that removes and deletes itself in its Tick.
  struct SelfDeleting : TimerContext {
    SelfDeleting(TimerCtrlImpl* service, Journal* journal)
        : TimerContext(0, true), service(service), journal(journal) {}
    TimerCtrlImpl* service;
    Journal* journal;
    void Tick() override {
      service->RemoveTimer(this);
      Journal* const log = journal;
      delete this;
      log->Add("deleted");
    }
  };
  timers.NewTimer(new SelfDeleting(&timers, &journal));
  ASSERT_TRUE(journal.WaitFor("deleted"));
}

// A deadline equal to that of an earlier wake-up which has run (as after
// 2^32 ms) still gets a wake-up of its own: the tick is moved back to make
// the new deadline hit the old one exactly.
TEST_F(TimerCtrlImplTest, DeadlineEqualToAnOldWakeUpStillFires) {
  NamedTimer a(journal, "a", 100, false), b(journal, "b", 0, false);
  timers.NewTimer(&a);
  ASSERT_TRUE(journal.WaitFor("a1"));
  const Tevrol::Tick old = a.GetTimeout();
  // The clock may move on between reading it and arming: retry, and take
  // back at once an arming that missed, long before it could fire.
  bool hit = false;
  for (int attempt = 0; attempt < 20 && !hit; ++attempt) {
    detail::SetTickOffsetForTesting(0);
    detail::SetTickOffsetForTesting(old - 100u - TevrolTimerNow());
    b.SetIntervall(old - TevrolTimerNow());
    timers.NewTimer(&b);
    hit = b.GetTimeout() == old;
    if (!hit) timers.RemoveTimer(&b);
  }
  ASSERT_TRUE(hit);
  EXPECT_TRUE(journal.WaitFor("b1"));
  timers.RemoveTimer(&b);  // never leave a context registered behind its end
}

// A cyclic timer with interval 0 keeps one immediate wake-up queued, not one
// more per firing: during each Tick the service's loop holds the record it
// runs and at most one queued behind it.
TEST_F(TimerCtrlImplTest, ZeroIntervalCyclicTimerKeepsOneWakeUpQueued) {
  WorkLoopImpl::Pool& pool =
      static_cast<WorkLoopImpl*>(timers.GetWorkLoopForTesting())->GetPoolForTesting();
  struct Spinning : TimerContext {
    Spinning() : TimerContext(0, true) {}
    std::function<void()> onTick;
    void Tick() override { onTick(); }
  } spinning;
  constexpr int kFirings = 100000 / kStressScale;
  int firings = 0;  // written and read on the timer thread alone until `done`
  Tevrol::ULong mostHandedOut = 0;
  Gate done;
  spinning.onTick = [&] {
    // On the loop thread, which is the only one queueing now.
    const Tevrol::ULong handedOut = pool.GetCapacity() - pool.m_freeList.m_count;
    mostHandedOut = std::max(mostHandedOut, handedOut);
    if (++firings == kFirings || handedOut > 2) {
      timers.RemoveTimer(&spinning);
      done.Open();
    }
  };
  timers.NewTimer(&spinning);
  ASSERT_TRUE(done.Wait());
  timers.RemoveTimer(&spinning);  // after its last Tick: reads below are race-free
  EXPECT_EQ(firings, kFirings);
  EXPECT_LE(mostHandedOut, 2u);
}

// Threads register, restart and remove cyclic timers while they fire. After
// RemoveTimer has returned on another thread, that context never ticks again;
// Ticks never overlap.
std::atomic<bool> g_inside{false};
std::atomic<int> g_overlaps{0};

TEST_F(TimerCtrlImplTest, StressKeepsRemovedTimersSilent) {
  struct Checked : TimerContext {
    std::atomic<bool> removed{false};
    std::atomic<int> lateTicks{0};
    void Tick() override {
      if (g_inside.exchange(true)) g_overlaps.fetch_add(1);
      if (removed.load()) lateTicks.fetch_add(1);
      g_inside.store(false);
    }
  };
  std::vector<Checked> contexts(24);
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 300 / kStressScale; ++i) {
        Checked& c = contexts[static_cast<size_t>(t * 8 + i % 8)];
        c.removed.store(false);
        c.SetIntervall(static_cast<Tevrol::ULong>(i % 3));
        c.SetCyclic(true);
        i % 2 != 0 ? timers.NewTimer(&c) : timers.ChangeTimer(&c);
        ThreadHelper::Sleep(static_cast<Tevrol::ULong>(i % 2));
        timers.RemoveTimer(&c);
        c.removed.store(true);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ThreadHelper::Sleep(20);
  int late = 0;
  for (auto& c : contexts) late += c.lateTicks.load();
  EXPECT_EQ(late, 0);
  EXPECT_EQ(g_overlaps.load(), 0);
}

// At exit the service drops its timers without a Tick; exit() inside a Tick
// ends the process instead of waiting for the timer thread.
TEST(TimerCtrlDeathTest, ExitDropsPendingTimersAndExitInsideATickDoesNotHang) {
  EXPECT_EXIT(
      {
        static struct : TimerContext {
          void Tick() override { _exit(3); }  // must not fire
        } pending;
        pending.SetIntervall(100);
        TimerCtrl_GetInstance()->NewTimer(&pending);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        static struct : TimerContext {
          void Tick() override { std::exit(7); }
        } exiting;
        TimerCtrl_GetInstance()->NewTimer(&exiting);
        ThreadHelper::Sleep(30000);
        std::exit(1);
      },
      ::testing::ExitedWithCode(7), "");
}

// exit() inside a Tick while another thread waits in RemoveTimer for that
// Tick: the Tick never returns, so the waiter must go on waiting until the
// process ends. The atexit handler, registered before the service exists,
// runs after the service's destructor and gives a waiter that was let go
// time to report it.
std::atomic<bool> g_exitingTickStarted{false};

TEST(TimerCtrlDeathTest, ExitInsideATickKeepsARemoveTimerWaiterWaiting) {
  EXPECT_EXIT(
      {
        std::atexit([] { ThreadHelper::Sleep(200); });
        static struct : TimerContext {
          void Tick() override {
            g_exitingTickStarted.store(true);
            // Cyclic, so RemoveTimer takes it out of the list before it waits.
            WaitUntil([this] { return !TimerCtrl_GetInstance()->IsRegistered(this); });
            ThreadHelper::Sleep(50);  // the waiter is blocked on this Tick by now
            std::exit(7);
          }
        } exiting;
        exiting.SetCyclic(true);
        TimerCtrl_GetInstance()->NewTimer(&exiting);
        std::thread([] {
          WaitUntil([] { return g_exitingTickStarted.load(); });
          TimerCtrl_GetInstance()->RemoveTimer(&exiting);
          _exit(9);  // RemoveTimer returned although the Tick never did
        }).detach();
        ThreadHelper::Sleep(30000);
        std::exit(1);
      },
      ::testing::ExitedWithCode(7), "");
}

}  // namespace
