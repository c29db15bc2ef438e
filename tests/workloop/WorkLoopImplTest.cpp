#include "workloop/WorkLoopImpl.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "workloop/Journal.h"

namespace {

using Names = std::vector<std::string>;
constexpr auto kNormal = WorkLoop::PriorityNormal;

struct WorkLoopImplTest : ::testing::Test {
  Journal journal;
  std::vector<std::unique_ptr<JournalTask>> tasks;
  const Tevrol::ThreadId self = ThreadHelper::GetCurrentThreadID();

  JournalTask* Make(std::string name, std::function<void()> onExecute = {}) {
    tasks.push_back(std::make_unique<JournalTask>(journal, std::move(name), std::move(onExecute)));
    return tasks.back().get();
  }
};

TEST_F(WorkLoopImplTest, CancelGivesDisposeWithoutExecuteAlsoBehindADelayedHead) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  JournalTask* early = Make("early");
  JournalTask* late = Make("late");
  JournalTask* now = Make("now");
  loop->PerformTaskDelayed(early, 50, kNormal);
  const Tevrol::ULong lateId = loop->PerformTaskDelayed(late, 60000, kNormal);
  const Tevrol::ULong nowId = loop->PerformTask(now, kNormal);
  loop->Cancel(lateId);
  loop->Cancel(nowId);
  loop->Cancel(12345);  // unknown: nothing
  loop->Run();
  // The cancelled delayed task keeps its place: it leaves with the head.
  ASSERT_TRUE(journal.WaitFor("~late"));
  EXPECT_EQ(journal.Entries(), Names({"~now", "early", "~early", "~late"}));
  WorkLoop::DeleteInstance(loop);
}

TEST_F(WorkLoopImplTest, RemoveAndRemoveAllOnAnIdleLoopTakeTasksBack) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  JournalTask* a = Make("a");
  JournalTask* b = Make("b");
  JournalTask* c = Make("c");
  const Tevrol::ULong aId = loop->PerformTask(a, kNormal);
  loop->PerformTaskDelayed(b, 100, kNormal);  // the delayed head
  loop->PerformTaskDelayed(b, 200, kNormal);
  loop->PerformTask(b, kNormal);
  loop->PerformTaskDelayed(c, 300, kNormal);
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
  loop->Run();
  ASSERT_TRUE(journal.WaitFor("~c"));
  WorkLoop::DeleteInstance(loop);
  EXPECT_EQ(journal.Entries(), Names({"c", "~c"}));
}

TEST_F(WorkLoopImplTest, RemoveCodesOnARunningLoopDependOnTheThread) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  JournalTask* queued = Make("queued");
  JournalTask* other = Make("other");
  Tevrol::ULong selfId = 0;
  Tevrol::ULong queuedId = 0;
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
  selfId = loop->PerformTask(probe, kNormal);
  queuedId = loop->PerformTaskDelayed(queued, 60000, kNormal);
  loop->PerformTaskDelayed(other, 60000, kNormal);
  loop->Run();
  ASSERT_TRUE(journal.WaitFor("~probe"));
  Task* foreign = other;
  EXPECT_EQ(loop->Remove(3, foreign), 3);  // Run was used: only the loop's thread
  EXPECT_EQ(loop->RemoveAll(other), 3);
  EXPECT_EQ(foreign, other);
  EXPECT_EQ(codes, std::vector<Tevrol::Long>({1, 1, 1, 0, 1}));
  WorkLoop::DeleteInstance(loop);  // other runs early, queued is gone
  EXPECT_EQ(journal.Entries(), Names({"probe", "~probe", "other", "~other"}));
}

TEST_F(WorkLoopImplTest, ShutdownDrainsEverythingThenRunsTheShutdownTask) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  Tevrol::Long first = -1, second = -1;
  Tevrol::ULong refused = 99;
  JournalTask* lateComer = Make("lateComer");
  JournalTask* shutdownTask = Make("shutdown");
  JournalTask* ignored = Make("ignored");
  JournalTask* trigger = Make("trigger", [&] {
    first = loop->Shutdown(shutdownTask);
    second = loop->Shutdown(ignored);
    refused = loop->PerformTask(lateComer, kNormal);
  });
  loop->PerformTask(trigger, kNormal);
  loop->PerformTask(Make("queued"), kNormal);
  loop->PerformTaskDelayed(Make("tomorrow"), 24u * 3600u * 1000u, kNormal);
  loop->Run();
  ASSERT_TRUE(journal.WaitFor("~shutdown"));
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  EXPECT_EQ(refused, 0u);
  EXPECT_EQ(journal.Executed(), Names({"trigger", "queued", "tomorrow", "shutdown"}));
  EXPECT_EQ(lateComer->disposes.load() + lateComer->executes.load(), 0);
  EXPECT_EQ(ignored->disposes.load(), 0);
  WorkLoop::DeleteInstance(loop);
}

TEST_F(WorkLoopImplTest, DeletingAnIdleLoopDisposesWhatNoRunTookThenItsShutdownTask) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  EXPECT_EQ(loop->Shutdown(nullptr), 0);
  loop->PerformTaskDelayed(Make("delayed"), 10, kNormal);
  loop->PerformTask(Make("low"), WorkLoop::PriorityLowest);
  loop->PerformTask(Make("high"), kNormal);
  EXPECT_EQ(loop->Shutdown(Make("shutdown")), 1);  // idle: stays idle
  EXPECT_EQ(loop->PerformTask(Make("accepted"), kNormal), 4u);
  WorkLoop::DeleteInstance(loop);
  EXPECT_EQ(journal.Entries(),
            Names({"~high", "~accepted", "~low", "~delayed", "shutdown", "~shutdown"}));
  WorkLoop::DeleteInstance(nullptr);
}

TEST_F(WorkLoopImplTest, RunTwiceFailsAndDeleteRightAfterRunStillDrains) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  for (int i = 0; i < 5; ++i) loop->PerformTask(Make("t" + std::to_string(i)), kNormal);
  EXPECT_TRUE(loop->Run());
  EXPECT_FALSE(loop->Run());
  WorkLoop::DeleteInstance(loop);
  EXPECT_EQ(journal.Executed(), Names({"t0", "t1", "t2", "t3", "t4"}));
  for (auto const& task : tasks) {
    EXPECT_NE(task->executeThread.load(), self);
    EXPECT_EQ(task->disposes.load(), 1);
  }
}

TEST_F(WorkLoopImplTest, RunBlockingRunsOnTheCallerAndMayRunAgain) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  Tevrol::Long removeAllCode = -1;
  JournalTask* stopper = Make("stopper", [&] {
    removeAllCode = loop->RemoveAll(tasks[0].get());  // no Thread of its own: 3
    loop->Shutdown(nullptr);
  });
  for (int run = 0; run < 2; ++run) {
    loop->PerformTask(stopper, kNormal);
    loop->RunBlocking();
  }
  EXPECT_EQ(stopper->executes.load(), 2);
  EXPECT_EQ(stopper->executeThread.load(), self);
  EXPECT_EQ(removeAllCode, 3);
  WorkLoop::DeleteInstance(loop);
}

// A loop deleted from one of its own tasks cannot join its own thread: the
// call returns at once, the loop drains and frees itself when its run ends.
TEST_F(WorkLoopImplTest, LoopDeletedByItsOwnTaskDrainsAndFreesItself) {
  for (bool blocking : {false, true}) {
    SCOPED_TRACE(blocking ? "RunBlocking" : "Run");
    Journal journal;
    WorkLoop* loop = WorkLoop::CreateInstance();
    JournalTask last(journal, "last");
    JournalTask killer(journal, "killer", [&] { WorkLoop::DeleteInstance(loop); });
    loop->PerformTask(&killer, kNormal);
    loop->PerformTaskDelayed(&last, 60000, kNormal);
    if (blocking) {
      loop->RunBlocking();  // returns once the loop has freed itself
    } else {
      loop->Run();
    }
    ASSERT_TRUE(journal.WaitFor("~last"));
    EXPECT_EQ(journal.Entries(), Names({"killer", "~killer", "last", "~last"}));
    if (!blocking) ThreadHelper::Sleep(50);  // let the thread end before `last` goes
  }
}

}  // namespace
