#include "threads/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/RecordingRunnable.h"
#include "support/StressScale.h"
#include "threads/PDStdOperations.h"

namespace {

using Names = std::vector<std::string>;

Names WithStopSequence(Names names) {
  names.insert(names.end(), {"Stop", "WakeUp", "StoppingEvent"});
  return names;
}

struct ThreadTest : ::testing::Test {
  // The gates outlive the Thread, whose destructor joins the OS thread.
  Gate inside, release;
  RecordingRunnable runnable;
  Thread thread{&runnable};
  const Tevrol::ThreadId self = ThreadHelper::GetCurrentThreadID();

  ~ThreadTest() override { release.Open(); }

  // Pass 1 of WorkingLoop opens `inside` and blocks until `release`.
  void BlockFirstPass() {
    runnable.onWorkingLoop = [this](Thread* t, int pass) {
      if (pass > 1) return t->Sleep(60000);
      inside.Open();
      release.Wait();
    };
  }
  // Pass 1 of WorkingLoop sleeps `ms` and stores how long that took in ticks.
  void ProbeFirstSleep(Tevrol::ULong ms, std::atomic<int>& slept) {
    slept.store(-1);
    inside.Close();
    runnable.Clear();
    runnable.onWorkingLoop = [this, ms, &slept](Thread* t, int pass) {
      if (pass > 1) return t->Sleep(60000);
      const Tevrol::Tick before = PDStdOperations::GetTickCount();
      inside.Open();
      t->Sleep(ms);
      slept.store(static_cast<int>(PDStdOperations::GetTickCount() - before));
    };
  }
};

TEST_F(ThreadTest, StopRightAfterStartRunsOnePassThenTheStopSequence) {
  // Never started: Stop creates and joins nothing, Sleep returns at once.
  thread.Stop();
  EXPECT_EQ(thread.GetState(), Thread::StateCreated);
  EXPECT_FALSE(thread.GetPlatformThread().HasNativeThread());
  EXPECT_EQ(thread.GetThreadId(), 0u);
  const Tevrol::Tick before = PDStdOperations::GetTickCount();
  thread.Sleep(60000);
  EXPECT_LT(static_cast<int>(PDStdOperations::GetTickCount() - before), 30000);
  EXPECT_TRUE(runnable.Names().empty());

  thread.Start();
  thread.Stop();
  EXPECT_EQ(thread.GetState(), Thread::StateStopped);
  EXPECT_EQ(runnable.Names(), WithStopSequence({"StartingEvent", "WorkingLoop"}));
  const Tevrol::ThreadId worker = runnable.ThreadOf("StartingEvent");
  EXPECT_NE(worker, self);
  for (char const* name : {"WorkingLoop", "Stop", "WakeUp", "StoppingEvent"}) {
    EXPECT_EQ(runnable.ThreadOf(name), worker) << name;
  }
  EXPECT_EQ(thread.GetThreadId(), worker);  // kept after the stop
  EXPECT_FALSE(thread.GetPlatformThread().HasNativeThread());

  // A stopped thread starts again with the same Runnable.
  runnable.Clear();
  thread.Start();
  ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 1));
  EXPECT_EQ(thread.GetState(), Thread::StateRunning);
  thread.Stop();
  EXPECT_EQ(runnable.Names(), WithStopSequence({"StartingEvent", "WorkingLoop"}));
}

TEST_F(ThreadTest, PauseRightAfterStartRunsOnePassThenRestsUntilContinue) {
  thread.Start();
  thread.Pause();
  // State 3 comes before the Pause callbacks: wait for the last of them.
  ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
  EXPECT_EQ(thread.GetState(), Thread::StatePaused);
  EXPECT_TRUE(thread.GetPauseThread());
  EXPECT_EQ(runnable.Names(), Names({"StartingEvent", "WorkingLoop", "Pause", "PauseEvent"}));
  EXPECT_EQ(runnable.ThreadOf("PauseEvent"), runnable.ThreadOf("StartingEvent"));

  // WakeUp calls the Runnable on the caller and leaves the thread paused.
  thread.WakeUp();
  EXPECT_EQ(runnable.ThreadOf("WakeUp"), self);
  ThreadHelper::Sleep(50);
  EXPECT_EQ(thread.GetState(), Thread::StatePaused);
  EXPECT_EQ(runnable.Count("WorkingLoop"), 1);

  thread.Continue();
  EXPECT_EQ(runnable.ThreadOf("ContinueEvent"), self);
  ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 2));
  EXPECT_FALSE(thread.GetPauseThread());
}

TEST_F(ThreadTest, ContinueBeforeThePauseIsReachedCancelsItButStillNotifies) {
  BlockFirstPass();
  thread.Start();
  ASSERT_TRUE(inside.Wait());
  thread.Pause();
  EXPECT_EQ(thread.GetState(), Thread::StatePausing);
  thread.Continue();
  EXPECT_EQ(thread.GetState(), Thread::StateRunning);
  EXPECT_EQ(runnable.ThreadOf("ContinueEvent"), self);  // while the thread is inside pass 1
  release.Open();
  ASSERT_TRUE(runnable.WaitForCount("WorkingLoop", 2));
  thread.Stop();
  EXPECT_EQ(runnable.Count("Pause") + runnable.Count("PauseEvent"), 0);
}

TEST_F(ThreadTest, ContinueWhileRunningOwesAPassThatAPauseCannotCancel) {
  BlockFirstPass();
  thread.Start();
  ASSERT_TRUE(inside.Wait());
  thread.Continue();
  thread.Pause();
  release.Open();
  ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
  EXPECT_EQ(runnable.Names(),
            Names({"StartingEvent", "WorkingLoop", "WorkingLoop", "Pause", "PauseEvent"}));
}

TEST_F(ThreadTest, SleepEndsEarlyOnWakeUpPauseAndStop) {
  enum Ender { kWakeUp, kPause, kStop };
  for (Ender ender : {kWakeUp, kPause, kStop}) {
    SCOPED_TRACE(ender);
    std::atomic<int> slept;
    ProbeFirstSleep(60000, slept);
    thread.Start();
    ASSERT_TRUE(inside.Wait());
    if (ender == kWakeUp) {
      // A WakeUp before the Sleep has reset the event is lost: retry.
      ASSERT_TRUE(WaitUntil([&] {
        thread.WakeUp();
        return slept.load() >= 0;
      }));
      EXPECT_EQ(runnable.ThreadOf("WakeUp"), self);
    } else if (ender == kPause) {
      thread.Pause();
      ASSERT_TRUE(runnable.WaitForCount("PauseEvent", 1));
    }
    thread.Stop();
    EXPECT_GE(slept.load(), 0);
    EXPECT_LT(slept.load(), 30000);
    if (ender == kPause) {  // a paused thread stops without Continue
      EXPECT_EQ(runnable.Names(),
                WithStopSequence({"StartingEvent", "WorkingLoop", "Pause", "PauseEvent"}));
    }
  }
}

TEST_F(ThreadTest, SleepRunsOutItsTimeDespiteSetPauseThreadAndContinue) {
  constexpr int kSleepMs = 300;
  for (bool usePause : {true, false}) {
    SCOPED_TRACE(usePause ? "SetPauseThread" : "Continue");
    // Only a call that finds the thread inside the Sleep proves the point; a
    // SetPauseThread before it makes the Sleep return at once, so retry.
    bool sleptFull = false;
    for (int attempt = 0; attempt < 5 && !sleptFull; ++attempt) {
      std::atomic<int> slept;
      ProbeFirstSleep(kSleepMs, slept);
      thread.Start();
      ASSERT_TRUE(inside.Wait());
      ThreadHelper::Sleep(20);
      usePause ? thread.SetPauseThread(false) : thread.Continue();  // false pauses too
      ASSERT_TRUE(WaitUntil([&] { return slept.load() >= 0; }));
      sleptFull = slept.load() >= kSleepMs - 1;  // ticks are whole milliseconds
      thread.Stop();
    }
    EXPECT_TRUE(sleptFull);
    EXPECT_EQ(runnable.Count("ContinueEvent"), 0);
  }
}

// A Runnable that stores 4 leaves the OS thread unjoined until Stop; Stop on
// the thread itself detaches it at once, and only StoppingEvent follows.
TEST_F(ThreadTest, ThreadEndedFromWithin) {
  for (bool selfStop : {false, true}) {  // restart only once the first run is joined
    SCOPED_TRACE(selfStop ? "Stop" : "EndFromRunnable");
    runnable.Clear();
    runnable.onWorkingLoop = [selfStop](Thread* t, int) {
      selfStop ? t->Stop() : t->EndFromRunnable();
    };
    thread.Start();
    // Not destroyed before its StoppingEvent: the thread still uses the object.
    ASSERT_TRUE(runnable.WaitForCount("StoppingEvent", 1));
    const Tevrol::ThreadId worker = runnable.ThreadOf("StartingEvent");
    EXPECT_EQ(runnable.Names(), selfStop ? Names({"StartingEvent", "WorkingLoop", "StoppingEvent"})
                                         : WithStopSequence({"StartingEvent", "WorkingLoop"}));
    EXPECT_EQ(runnable.ThreadOf("StoppingEvent"), worker);
    EXPECT_EQ(thread.GetState(), selfStop ? Thread::StateStopped : Thread::StateStopping);
    EXPECT_EQ(thread.GetPlatformThread().HasNativeThread(), !selfStop);
    EXPECT_EQ(thread.GetThreadId(), worker);
    thread.Stop();
    EXPECT_EQ(thread.GetState(), Thread::StateStopped);
    EXPECT_EQ(runnable.Count("StoppingEvent"), 1);
  }
}

TEST(ThreadNameTest, FullNameKeptAndOsNameCutTo15Bytes) {
  const std::string sixty(60, 'n');
  const struct {
    char const* given;
    std::string kept, os;
  } cases[] = {
      {nullptr, "", ""},
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
    EXPECT_EQ(thread.GetPlatformThread().GetFriendlyName(), c.kept);
    char osName[64] = "";
    runnable.onStartingEvent = [&] { pthread_getname_np(pthread_self(), osName, sizeof osName); };
    thread.Start();
    thread.Stop();
    if (!c.os.empty()) {
      EXPECT_EQ(osName, c.os);
    }
  }
}

// A name taken from the thread's own name, whole or from a later position.
TEST(ThreadNameTest, NameFromItsOwnNameIsKept) {
  RecordingRunnable runnable;
  Thread thread(&runnable);
  ThreadPD& platform = thread.GetPlatformThread();
  platform.SetFriendlyName("WL worker-thread-name");
  platform.SetFriendlyName(platform.GetFriendlyName());
  EXPECT_STREQ(platform.GetFriendlyName(), "WL worker-thread-name");
  platform.SetFriendlyName(platform.GetFriendlyName() + 3);
  EXPECT_STREQ(platform.GetFriendlyName(), "worker-thread-name");
}

TEST(ThreadPriorityTest, StartAsksForTheTableEntryOfItsPriorityAndType) {
  using P = ThreadPriorities;
  const struct {
    P::Priority priority;
    P::PriorityType type;
    int expected;
  } cases[] = {
      {P::Priority3, P::PriorityType3, 10},  // the defaults
      {P::Priority7, P::PriorityType3, 6},  {P::Priority0, P::PriorityType3, 13},
      {P::Priority0, P::PriorityType0, 13}, {P::Priority7, P::PriorityType2, 13},
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
    // A change on a running thread waits for the next Start.
    thread.SetPriority(P::Priority7, P::PriorityType3);
    EXPECT_EQ(thread.GetPlatformThread().GetRequestedPriorityForTesting(), cases[i].expected);
    thread.Stop();
    thread.Start();
    ASSERT_TRUE(runnable.WaitForCount("StartingEvent", 2));
    EXPECT_EQ(thread.GetPlatformThread().GetRequestedPriorityForTesting(), 6);
  }
}

TEST(ThreadPriorityTest, EveryConstructionRestoresTheBuiltInTable) {
  Thread::g_threadPriorityTable[3][3] = 42;  // a client's write
  Thread thread(nullptr);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 8; ++column) {
      // Rows 0 to 2 are all 13; row 3 descends from 13 by 1 a column.
      EXPECT_EQ(Thread::g_threadPriorityTable[row][column], row < 3 ? 13 : 13 - column)
          << row << column;
    }
  }
}

// Several threads pause, continue and wake one Thread at random while it
// runs. Whatever the interleaving, the callbacks on the thread never
// overlap, every Pause is followed by its PauseEvent, and the thread ends
// with exactly one StoppingEvent.
TEST(ThreadStressTest, ConcurrentControlKeepsTheCallbacksConsistent) {
  struct Checking : RecordingRunnable {
    std::atomic<bool> inside{false};
    std::atomic<int> overlaps{0};
    void Checked(char const* name) {
      if (inside.exchange(true)) overlaps.fetch_add(1);
      Record(name);
      inside.store(false);
    }
    void WorkingLoop(Thread* t) override {
      Checked("WorkingLoop");
      t->Sleep(1);
    }
    void Pause() override { Checked("Pause"); }
    void PauseEvent() override { Checked("PauseEvent"); }
    void StoppingEvent() override { Checked("StoppingEvent"); }
  };
  for (int controllers : {2, 4}) {
    SCOPED_TRACE(controllers);
    Checking runnable;
    Thread thread(&runnable);
    thread.Start();
    std::vector<std::thread> threads;
    for (int c = 0; c < controllers; ++c) {
      threads.emplace_back([&thread, c] {
        unsigned seed = 17u + static_cast<unsigned>(c);
        for (int i = 0; i < 2000 / kStressScale; ++i) {
          seed = seed * 1103515245u + 12345u;
          const unsigned op = (seed >> 16) % 4;
          if (op == 0) thread.Pause();
          if (op == 1) thread.Continue();
          if (op == 2) thread.WakeUp();
          if (op == 3) thread.SetPauseThread(true);
        }
      });
    }
    for (auto& t : threads) t.join();
    thread.Stop();
    EXPECT_EQ(runnable.overlaps.load(), 0);
    EXPECT_EQ(runnable.Count("StoppingEvent"), 1);
    EXPECT_EQ(runnable.Count("Pause"), runnable.Count("PauseEvent"));
    EXPECT_EQ(runnable.Names().back(), "StoppingEvent");
  }
}

}  // namespace
