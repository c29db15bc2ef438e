#include "workloop/WorkLoopImpl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/Journal.h"

namespace {

using WorkLoopImplTest = LoopFixture;

TEST_F(WorkLoopImplTest, CancelGivesDisposeWithoutExecuteAlsoBehindADelayedHead) {
  PostDelayed(Make("early"), 50);
  loop->Cancel(PostDelayed(Make("late"), 60000));
  loop->Cancel(Post(Make("now")));
  loop->Cancel(12345);  // unknown: nothing
  // The cancelled delayed task keeps its place: it leaves with the head.
  RunUntil("~late");
  EXPECT_EQ(journal.Entries(), Names({"~now", "early", "~early", "~late"}));
}

TEST_F(WorkLoopImplTest, RemoveAndRemoveAllOnAnIdleLoopTakeTasksBack) {
  JournalTask* a = Make("a");
  JournalTask* b = Make("b");
  const Tevrol::ULong aId = Post(a);
  PostDelayed(b, 100);  // the delayed head
  PostDelayed(b, 200);
  Post(b);
  PostDelayed(Make("c"), 300);
  loop->Shutdown(b);  // idle: only recorded

  Task* out = a;
  EXPECT_EQ(loop->Remove(999, out), 2);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(loop->Remove(aId, out), 0);
  EXPECT_EQ(out, a);
  EXPECT_EQ(loop->Remove(aId, out), 2);
  EXPECT_EQ(loop->RemoveAll(nullptr), 2);
  EXPECT_EQ(loop->RemoveAll(a), 2);
  EXPECT_EQ(loop->RemoveAll(b), 0);  // both queues and the shutdown task
  EXPECT_EQ(loop->RemoveAll(b), 2);
  // c is left, now the delayed head, and still runs.
  RunUntil("~c");
  Delete();
  EXPECT_EQ(journal.Entries(), Names({"c", "~c"}));
}

TEST_F(WorkLoopImplTest, RemoveCodesOnARunningLoopDependOnTheThread) {
  JournalTask* queued = Make("queued");
  JournalTask* other = Make("other");
  Tevrol::ULong selfId = 0, queuedId = 0;
  std::vector<Tevrol::Long> codes;
  Task* out = nullptr;
  JournalTask* probe = Make("probe", [&] {
    out = probe;
    codes.push_back(loop->Remove(selfId, out));  // itself: 1, out unwritten
    codes.push_back(out == probe ? 1 : 0);
    codes.push_back(loop->RemoveAll(probe));       // 1: it is running
    codes.push_back(loop->Remove(queuedId, out));  // 0
    codes.push_back(out == queued ? 1 : 0);
  });
  selfId = Post(probe);
  queuedId = PostDelayed(queued, 60000);
  PostDelayed(other, 60000);
  RunUntil("~probe");
  Task* foreign = other;
  EXPECT_EQ(loop->Remove(3, foreign), 3);  // Run was used: only the loop's thread
  EXPECT_EQ(loop->RemoveAll(other), 3);
  EXPECT_EQ(foreign, other);
  EXPECT_EQ(codes, std::vector<Tevrol::Long>({1, 1, 1, 0, 1}));
  Delete();  // other runs early, queued is gone
  EXPECT_EQ(journal.Entries(), Names({"probe", "~probe", "other", "~other"}));
}

TEST_F(WorkLoopImplTest, ShutdownDrainsEverythingThenRunsTheShutdownTask) {
  Tevrol::Long first = -1, second = -1;
  Tevrol::ULong refused = 99;
  JournalTask* lateComer = Make("lateComer");
  JournalTask* ignored = Make("ignored");
  JournalTask* shutdownTask = Make("shutdown");
  Post(Make("trigger", [&] {
    first = loop->Shutdown(shutdownTask);
    second = loop->Shutdown(ignored);
    refused = Post(lateComer);
  }));
  Post(Make("queued"));
  PostDelayed(Make("tomorrow"), 24u * 3600u * 1000u);
  RunUntil("~shutdown");
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  EXPECT_EQ(refused, 0u);
  EXPECT_EQ(journal.Executed(), Names({"trigger", "queued", "tomorrow", "shutdown"}));
  EXPECT_EQ(lateComer->disposes.load() + lateComer->executes.load(), 0);
  EXPECT_EQ(ignored->disposes.load(), 0);
}

TEST_F(WorkLoopImplTest, DeletingAnIdleLoopDisposesWhatNoRunTookThenItsShutdownTask) {
  EXPECT_EQ(loop->Shutdown(nullptr), 0);
  PostDelayed(Make("delayed"), 10);
  Post(Make("low"), WorkLoop::PriorityLowest);
  Post(Make("high"));
  EXPECT_EQ(loop->Shutdown(Make("shutdown")), 1);  // idle: stays idle
  EXPECT_EQ(Post(Make("accepted")), 4u);
  Delete();
  EXPECT_EQ(journal.Entries(),
            Names({"~high", "~accepted", "~low", "~delayed", "shutdown", "~shutdown"}));
  WorkLoop::DeleteInstance(nullptr);
}

TEST_F(WorkLoopImplTest, RunTwiceFailsAndDeleteRightAfterRunStillDrains) {
  for (int i = 0; i < 5; ++i) Post(Make("t" + std::to_string(i)));
  EXPECT_TRUE(loop->Run());
  EXPECT_FALSE(loop->Run());
  Delete();
  EXPECT_EQ(journal.Executed(), Names({"t0", "t1", "t2", "t3", "t4"}));
  for (auto const& task : tasks) {
    EXPECT_NE(task->executeThread.load(), ThreadHelper::GetCurrentThreadID());
    EXPECT_EQ(task->disposes.load(), 1);
  }
}

TEST_F(WorkLoopImplTest, RunBlockingRunsOnTheCallerAndMayRunAgain) {
  Tevrol::Long removeAllCode = -1;
  JournalTask* stopper = Make("stopper", [&] {
    removeAllCode = loop->RemoveAll(tasks[0].get());  // no Thread of its own: 3
    loop->RunBlocking();                              // running already: returns at once
    loop->Shutdown(nullptr);
  });
  for (int run = 0; run < 2; ++run) {
    Post(stopper);
    loop->RunBlocking();
  }
  EXPECT_EQ(stopper->executes.load(), 2);
  EXPECT_EQ(stopper->executeThread.load(), ThreadHelper::GetCurrentThreadID());
  EXPECT_EQ(removeAllCode, 3);
}

// A loop deleted from one of its own tasks cannot join its own thread: the
// call returns at once, the loop drains and frees itself when its run ends.
TEST(WorkLoopDeleteTest, LoopDeletedByItsOwnTaskDrainsAndFreesItself) {
  for (bool blocking : {false, true}) {
    SCOPED_TRACE(blocking ? "RunBlocking" : "Run");
    Journal journal;
    WorkLoop* loop = WorkLoop::CreateInstance();
    JournalTask last(journal, "last");
    JournalTask killer(journal, "killer", [&] { WorkLoop::DeleteInstance(loop); });
    loop->PerformTask(&killer, WorkLoop::PriorityNormal);
    loop->PerformTaskDelayed(&last, 60000, WorkLoop::PriorityNormal);
    blocking ? loop->RunBlocking() : void(loop->Run());  // RunBlocking returns once it is freed
    ASSERT_TRUE(journal.WaitFor("~last"));
    // The loop's thread uses nothing of the test after the last Dispose: it
    // only frees the loop, so the test goes on without waiting for it.
    EXPECT_EQ(journal.Entries(), Names({"killer", "~killer", "last", "~last"}));
  }
}

// A loop run by RunBlocking on one thread and deleted on another: the
// delete drains the loop and returns only when the run has let go of it.
TEST(WorkLoopDeleteTest, DeleteFromAnotherThreadWaitsForRunBlockingToLetGo) {
  for (int round = 0; round < 20; ++round) {
    Journal journal;
    WorkLoop* loop = WorkLoop::CreateInstance();
    JournalTask first(journal, "first");
    JournalTask queued(journal, "queued");
    loop->PerformTask(&first, WorkLoop::PriorityNormal);
    std::thread runner([loop] { loop->RunBlocking(); });
    ASSERT_TRUE(journal.WaitFor("~first"));
    loop->PerformTaskDelayed(&queued, 60000, WorkLoop::PriorityNormal);
    WorkLoop::DeleteInstance(loop);
    EXPECT_EQ(journal.Entries(), Names({"first", "~first", "queued", "~queued"}));
    runner.join();
  }
}

// A name set while the loop's thread starts is stored; the thread takes the
// name under the same lock, so this is no data race (ThreadSanitizer).
TEST(WorkLoopNameTest, NameSetWhileTheThreadStartsIsStored) {
  for (int round = 0; round < 20; ++round) {
    auto* loop = static_cast<WorkLoopImpl*>(WorkLoop::CreateInstance());
    ASSERT_TRUE(loop->Run());
    EXPECT_TRUE(loop->SetFriendlyName("a name given too late"));
    char name[64];
    loop->GetThreadForTesting().GetPlatformThread().CopyFriendlyName(name, sizeof name);
    EXPECT_STREQ(name, "a name given too late");
    WorkLoop::DeleteInstance(loop);
  }
}

// A hand-over sets the wake event after its unlock; the loop is not freed
// while one is still between the two.
TEST(WorkLoopDeleteTest, DeleteWaitsForAHandOverStillSettingTheEvent) {
  Journal journal;
  JournalTask task(journal, "task");
  auto* loop = new WorkLoopImpl;
  loop->PerformTask(&task, WorkLoop::PriorityNormal);
  ASSERT_TRUE(loop->Run());
  ASSERT_TRUE(journal.WaitFor("~task"));
  loop->HoldWakeSetForTesting();
  std::atomic<bool> deleted{false};
  std::thread deleter([&] {
    WorkLoop::DeleteInstance(loop);
    deleted.store(true);
  });
  ThreadHelper::Sleep(50);
  EXPECT_FALSE(deleted.load());
  loop->ReleaseWakeSetForTesting();
  deleter.join();
  EXPECT_TRUE(deleted.load());
}

}  // namespace
