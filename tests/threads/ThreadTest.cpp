#include "threads/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "threads/PDStdOperations.h"
#include "threads/RecordingRunnable.h"

namespace {

using Names = std::vector<std::string>;

const Names kStopSequence = {"Stop", "WakeUp", "StoppingEvent"};

Names Concat(Names a, Names const& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Runs `test` with a fresh Runnable and a Thread on it; the Thread is
// destroyed (so stopped) before the Runnable.
struct ThreadFixture : ::testing::Test {
  RecordingRunnable runnable;
  Thread thread{&runnable};
  Tevrol::ThreadId self = ThreadHelper::GetCurrentThreadID();
};

using ThreadTest = ThreadFixture;

TEST_F(ThreadTest, NeverStartedThreadCreatesAndJoinsNothing) {
  EXPECT_EQ(thread.GetState(), Thread::StateCreated);
  EXPECT_FALSE(thread.GetPlatformThread().HasNativeThread());
  thread.Stop();
  EXPECT_EQ(thread.GetState(), Thread::StateCreated);
  EXPECT_TRUE(runnable.Names().empty());
  EXPECT_EQ(thread.GetThreadId(), 0u);
}

TEST_F(ThreadTest, StopRightAfterStartRunsOnePassThenTheStopSequence) {
  thread.Start();
  thread.Stop();
  EXPECT_EQ(thread.GetState(), Thread::StateStopped);
  EXPECT_EQ(runnable.Names(), Concat({"StartingEvent", "WorkingLoop"}, kStopSequence));
  const Tevrol::ThreadId worker = runnable.ThreadOf("StartingEvent");
  EXPECT_NE(worker, self);
  for (auto const& event : runnable.Events()) {
    EXPECT_EQ(event.thread, worker) << event.name;
  }
  // The id stays after the stop; the OS thread is gone.
  EXPECT_EQ(thread.GetThreadId(), worker);
  EXPECT_FALSE(thread.GetPlatformThread().HasNativeThread());
}

TEST_F(ThreadTest, PauseRightAfterStartRunsOnePassThenRests) {
  thread.Start();
  thread.Pause();
  ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
  ASSERT_TRUE(WaitUntil([&] { return thread.GetState() == Thread::StatePaused; }));
  EXPECT_TRUE(thread.GetPauseThread());
  EXPECT_EQ(runnable.Names(), Names({"StartingEvent", "WorkingLoop", "Pause", "PauseEvent"}));
  EXPECT_EQ(runnable.ThreadOf("Pause"), runnable.ThreadOf("StartingEvent"));

  // A paused thread is stopped without Continue.
  thread.Stop();
  EXPECT_EQ(runnable.Names(),
            Concat({"StartingEvent", "WorkingLoop", "Pause", "PauseEvent"}, kStopSequence));
  EXPECT_FALSE(thread.GetPauseThread());
}

TEST_F(ThreadTest, ContinueBeforeThePauseIsReachedCancelsItButStillNotifies) {
  Gate inside, release;
  GateOpener releaseOnExit(release);
  runnable.onWorkingLoop = [&](Thread* t, int pass) {
    if (pass == 1) {
      inside.Open();
      release.Wait();
    } else {
      t->Sleep(60000);
    }
  };
  thread.Start();
  ASSERT_TRUE(inside.Wait());
  thread.Pause();
  EXPECT_EQ(thread.GetState(), Thread::StatePausing);
  thread.Continue();
  EXPECT_EQ(thread.GetState(), Thread::StateRunning);
  // ContinueEvent ran on the caller, while the thread is still inside pass 1.
  EXPECT_EQ(runnable.ThreadOf("ContinueEvent"), self);
  release.Open();
  ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 2));
  thread.Stop();
  EXPECT_EQ(runnable.Count("Pause"), 0);
  EXPECT_EQ(runnable.Count("PauseEvent"), 0);
  EXPECT_EQ(runnable.Count("ContinueEvent"), 1);
}

TEST_F(ThreadTest, ContinueFromPauseResumesWithAPassAndNotifiesTheCaller) {
  thread.Start();
  thread.Pause();
  ASSERT_TRUE(WaitUntil([&] { return thread.GetState() == Thread::StatePaused; }));
  thread.Continue();
  EXPECT_EQ(runnable.ThreadOf("ContinueEvent"), self);
  ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 2));
  EXPECT_EQ(thread.GetState(), Thread::StateRunning);
  thread.Stop();
}

TEST_F(ThreadTest, ContinueWhileRunningGivesNoContinueEventButOwesAPass) {
  Gate inside, release;
  GateOpener releaseOnExit(release);
  runnable.onWorkingLoop = [&](Thread* t, int pass) {
    if (pass == 1) {
      inside.Open();
      release.Wait();
    } else {
      t->Sleep(60000);
    }
  };
  thread.Start();
  ASSERT_TRUE(inside.Wait());
  thread.Continue();
  // The pass owed by this Continue survives a Pause right behind it.
  thread.Pause();
  release.Open();
  ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
  EXPECT_EQ(runnable.Count("ContinueEvent"), 0);
  EXPECT_EQ(runnable.Names(),
            Names({"StartingEvent", "WorkingLoop", "WorkingLoop", "Pause", "PauseEvent"}));
  thread.Stop();
}

// WorkingLoop sleeps once for `sleepMs` and records how long it slept in
// library ticks; later passes sleep until stopped.
struct SleepProbe {
  explicit SleepProbe(RecordingRunnable& runnable, Tevrol::ULong sleepMs) {
    runnable.onWorkingLoop = [this, sleepMs](Thread* t, int pass) {
      if (pass > 1) {
        t->Sleep(60000);
        return;
      }
      const Tevrol::Tick before = PDStdOperations::GetTickCount();
      entered.Open();
      t->Sleep(sleepMs);
      slept.store(static_cast<int>(PDStdOperations::GetTickCount() - before));
      returned.Open();
    };
  }
  Gate entered, returned;
  std::atomic<int> slept{-1};
};

TEST_F(ThreadTest, SleepEndsEarlyOnWakeUp) {
  SleepProbe probe(runnable, 60000);
  thread.Start();
  ASSERT_TRUE(probe.entered.Wait());
  // A WakeUp that comes before the Sleep resets the event is lost: retry.
  ASSERT_TRUE(WaitUntil([&] {
    thread.WakeUp();
    return probe.slept.load() >= 0;
  }));
  EXPECT_LT(probe.slept.load(), 30000);
  EXPECT_EQ(runnable.ThreadOf("WakeUp"), self);
  EXPECT_EQ(thread.GetState(), Thread::StateRunning);
  thread.Stop();
}

TEST_F(ThreadTest, SleepEndsEarlyOnPauseAndOnStop) {
  {
    SleepProbe probe(runnable, 60000);
    thread.Start();
    ASSERT_TRUE(probe.entered.Wait());
    thread.Pause();
    ASSERT_TRUE(probe.returned.Wait());
    EXPECT_LT(probe.slept.load(), 30000);
    ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
    thread.Stop();
  }
  {
    SleepProbe probe(runnable, 60000);
    runnable.Clear();  // the probe acts on pass 1
    thread.Start();
    ASSERT_TRUE(probe.entered.Wait());
    thread.Stop();
    EXPECT_GE(probe.slept.load(), 0);
    EXPECT_LT(probe.slept.load(), 30000);
  }
}

TEST_F(ThreadTest, SleepRunsOutItsTimeDespiteSetPauseThread) {
  constexpr int kSleepMs = 300;
  // A SetPauseThread before the Sleep makes it return at once; only a
  // SetPauseThread that finds the thread inside proves the point, so retry.
  bool sleptFull = false;
  for (int attempt = 0; attempt < 5 && !sleptFull; ++attempt) {
    SleepProbe probe(runnable, kSleepMs);
    runnable.Clear();
    thread.Start();
    ASSERT_TRUE(probe.entered.Wait());
    ThreadHelper::Sleep(20);
    thread.SetPauseThread(false);  // false pauses too
    EXPECT_EQ(thread.GetState(), Thread::StatePausing);
    ASSERT_TRUE(probe.returned.Wait());
    sleptFull = probe.slept.load() >= kSleepMs - 1;  // ticks are whole milliseconds
    ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
    thread.Stop();
  }
  EXPECT_TRUE(sleptFull);
}

TEST_F(ThreadTest, SleepRunsOutItsTimeDespiteContinueWhileRunning) {
  constexpr int kSleepMs = 300;
  SleepProbe probe(runnable, kSleepMs);
  thread.Start();
  ASSERT_TRUE(probe.entered.Wait());
  thread.Continue();
  ASSERT_TRUE(probe.returned.Wait());
  EXPECT_GE(probe.slept.load(), kSleepMs - 1);
  EXPECT_EQ(runnable.Count("ContinueEvent"), 0);
  thread.Stop();
}

TEST_F(ThreadTest, SleepOutsideStateRunningReturnsAtOnce) {
  const Tevrol::Tick before = PDStdOperations::GetTickCount();
  thread.Sleep(60000);  // state 0
  EXPECT_LT(static_cast<int>(PDStdOperations::GetTickCount() - before), 30000);
}

TEST_F(ThreadTest, WakeUpOnAPausedThreadNotifiesAndLeavesItPaused) {
  thread.Start();
  thread.Pause();
  ASSERT_TRUE(WaitUntil([&] { return thread.GetState() == Thread::StatePaused; }));
  const int passes = runnable.Count("WorkingLoop");
  thread.WakeUp();
  EXPECT_EQ(runnable.ThreadOf("WakeUp"), self);
  ThreadHelper::Sleep(50);
  EXPECT_EQ(thread.GetState(), Thread::StatePaused);
  EXPECT_EQ(runnable.Count("WorkingLoop"), passes);
  EXPECT_EQ(runnable.Count("PauseEvent"), 1);
  thread.Stop();
}

TEST_F(ThreadTest, ThreadThatStopsItselfGetsOnlyStoppingEvent) {
  runnable.onWorkingLoop = [](Thread* t, int) { t->Stop(); };
  thread.Start();
  // Destroying the Thread before its StoppingEvent would pull it from under the thread.
  ASSERT_TRUE(runnable.WaitForCount("StoppingEvent", 1));
  EXPECT_EQ(thread.GetState(), Thread::StateStopped);
  EXPECT_EQ(runnable.Names(), Names({"StartingEvent", "WorkingLoop", "StoppingEvent"}));
  EXPECT_FALSE(thread.GetPlatformThread().HasNativeThread());
  EXPECT_EQ(thread.GetThreadId(), runnable.ThreadOf("StartingEvent"));
}

TEST_F(ThreadTest, RunnableThatEndsTheThreadRunsTheStopSequenceAndAwaitsStop) {
  runnable.onWorkingLoop = [](Thread* t, int) { t->EndFromRunnable(); };
  thread.Start();
  ASSERT_TRUE(runnable.WaitForCount("StoppingEvent", 1));
  EXPECT_EQ(runnable.Names(), Concat({"StartingEvent", "WorkingLoop"}, kStopSequence));
  EXPECT_EQ(runnable.ThreadOf("Stop"), runnable.ThreadOf("StartingEvent"));
  // Unjoined in state 4 until somebody stops it.
  EXPECT_EQ(thread.GetState(), Thread::StateStopping);
  EXPECT_TRUE(thread.GetPlatformThread().HasNativeThread());
  thread.Stop();
  EXPECT_EQ(thread.GetState(), Thread::StateStopped);
  EXPECT_EQ(runnable.Count("StoppingEvent"), 1);
}

TEST_F(ThreadTest, StoppedThreadStartsAgainWithTheSameRunnable) {
  thread.Start();
  thread.Stop();
  runnable.Clear();
  thread.Start();
  ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 1));
  EXPECT_EQ(thread.GetState(), Thread::StateRunning);
  thread.Stop();
  EXPECT_EQ(runnable.Names(), Concat({"StartingEvent", "WorkingLoop"}, kStopSequence));
  EXPECT_EQ(thread.GetState(), Thread::StateStopped);
}

TEST_F(ThreadTest, DestructorStopsARunningThread) {
  RecordingRunnable own;
  {
    Thread scoped(&own);
    scoped.Start();
    ASSERT_TRUE(own.WaitForCount("WorkingLoop", 1));
  }
  EXPECT_EQ(own.Names(), Concat({"StartingEvent", "WorkingLoop"}, kStopSequence));
}

TEST(ThreadNameTest, FullNameKeptAndOsNameCutTo15Bytes) {
  struct Case {
    char const* given;
    std::string kept;
    std::string os;
  };
  const std::string sixty(60, 'n');
  const Case cases[] = {
      {nullptr, "", ""},
      {"short", "short", "short"},
      {"exactly15bytes!", "exactly15bytes!", "exactly15bytes!"},
      {"TevrolTimer[FW]x", "TevrolTimer[FW]x", "TevrolTimer[FW]"},
      {sixty.c_str(), std::string(59, 'n'), std::string(15, 'n')},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.kept);
    RecordingRunnable runnable;
    Thread thread(&runnable);
    EXPECT_STREQ(thread.GetPlatformThread().GetFriendlyName(), "nameless_thread");
    thread.GetPlatformThread().SetFriendlyName(c.given);
    EXPECT_EQ(std::string(thread.GetPlatformThread().GetFriendlyName()), c.kept);
    char osName[64] = "unread";
    runnable.onStartingEvent = [&] { pthread_getname_np(pthread_self(), osName, sizeof osName); };
    thread.Start();
    ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 1));
    thread.Stop();
    if (!c.os.empty()) {
      EXPECT_EQ(std::string(osName), c.os);
    }
  }
}

TEST(ThreadPriorityTest, StartAsksForTheTableEntryOfItsPriorityAndType) {
  struct Case {
    ThreadPriorities::Priority priority;
    ThreadPriorities::PriorityType type;
    int expected;
  };
  const Case cases[] = {
      {ThreadPriorities::Priority3, ThreadPriorities::PriorityType3, 10},  // the defaults
      {ThreadPriorities::Priority7, ThreadPriorities::PriorityType3, 6},
      {ThreadPriorities::Priority0, ThreadPriorities::PriorityType3, 13},
      {ThreadPriorities::Priority0, ThreadPriorities::PriorityType0, 13},
      {ThreadPriorities::Priority7, ThreadPriorities::PriorityType2, 13},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    RecordingRunnable runnable;
    Thread thread(&runnable);
    if (i > 0) thread.SetPriority(cases[i].priority, cases[i].type);
    EXPECT_EQ(thread.GetPlatformThread().GetRequestedPriorityForTesting(), -1);
    thread.Start();
    ASSERT_TRUE(runnable.WaitForCount("StartingEvent", 1));
    EXPECT_EQ(thread.GetPlatformThread().GetRequestedPriorityForTesting(), cases[i].expected);
    thread.Stop();
  }
}

TEST(ThreadPriorityTest, SetPriorityOnARunningThreadWaitsForTheNextStart) {
  RecordingRunnable runnable;
  Thread thread(&runnable);
  thread.Start();
  ASSERT_TRUE(runnable.WaitForCount("StartingEvent", 1));
  thread.SetPriority(ThreadPriorities::Priority7, ThreadPriorities::PriorityType3);
  EXPECT_EQ(thread.GetPlatformThread().GetRequestedPriorityForTesting(), 10);
  thread.Stop();
  thread.Start();
  ASSERT_TRUE(runnable.WaitForCount("StartingEvent", 2));
  EXPECT_EQ(thread.GetPlatformThread().GetRequestedPriorityForTesting(), 6);
  thread.Stop();
}

TEST(ThreadPriorityTest, EveryConstructionRestoresTheBuiltInTable) {
  const Tevrol::Long builtIn[4][8] = {
      {13, 13, 13, 13, 13, 13, 13, 13},
      {13, 13, 13, 13, 13, 13, 13, 13},
      {13, 13, 13, 13, 13, 13, 13, 13},
      {13, 12, 11, 10, 9, 8, 7, 6},
  };
  Thread::g_threadPriorityTable[3][3] = 42;  // a client's write
  RecordingRunnable runnable;
  Thread thread(&runnable);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 8; ++column) {
      EXPECT_EQ(Thread::g_threadPriorityTable[row][column], builtIn[row][column])
          << row << "," << column;
    }
  }
}

// Several threads pause, continue and wake one Thread at random while it
// runs; one of them stops it. Whatever the interleaving, the callbacks on
// the thread never overlap, every Pause is followed by its PauseEvent, and
// the thread ends with exactly one StoppingEvent.
TEST(ThreadStressTest, ConcurrentControlKeepsTheCallbacksConsistent) {
  for (int controllers : {2, 4}) {
    SCOPED_TRACE(controllers);
    struct Checking : RecordingRunnable {
      std::atomic<bool> inside{false};
      std::atomic<int> overlaps{0};
      void Enter() {
        if (inside.exchange(true)) overlaps.fetch_add(1);
      }
      void Leave() { inside.store(false); }
      void WorkingLoop(Thread* t) override {
        Enter();
        Record("WorkingLoop");
        Leave();
        t->Sleep(1);
      }
      void Pause() override {
        Enter();
        Record("Pause");
        Leave();
      }
      void PauseEvent() override {
        Enter();
        Record("PauseEvent");
        Leave();
      }
      void StoppingEvent() override {
        Enter();
        Record("StoppingEvent");
        Leave();
      }
    } runnable;
    Thread thread(&runnable);
    thread.Start();
    const int iterations = 2000 / kStressScale;
    std::vector<std::thread> threads;
    for (int c = 0; c < controllers; ++c) {
      threads.emplace_back([&, c] {
        unsigned seed = 17u + static_cast<unsigned>(c);
        for (int i = 0; i < iterations; ++i) {
          seed = seed * 1103515245u + 12345u;
          switch ((seed >> 16) % 4) {
            case 0:
              thread.Pause();
              break;
            case 1:
              thread.Continue();
              break;
            case 2:
              thread.WakeUp();
              break;
            default:
              thread.SetPauseThread(true);
              break;
          }
        }
      });
    }
    for (auto& t : threads) t.join();
    thread.Stop();
    EXPECT_EQ(runnable.overlaps.load(), 0);
    EXPECT_EQ(runnable.Count("StoppingEvent"), 1);
    EXPECT_EQ(runnable.Count("Pause"), runnable.Count("PauseEvent"));
    EXPECT_GE(runnable.Count("WorkingLoop"), 1);
    EXPECT_EQ(runnable.Names().back(), "StoppingEvent");
  }
}

}  // namespace
