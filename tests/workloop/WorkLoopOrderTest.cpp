// The order in which a work loop runs what it is given: priorities, ageing,
// hand-over order, due times across the tick wrap.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/Journal.h"
#include "threads/Tick.h"
#include "workloop/WorkLoopImpl.h"

namespace {

using WorkLoopOrderTest = LoopFixture;

TEST_F(WorkLoopOrderTest, QueueIdsCountFromOneAcrossBothOperations) {
  EXPECT_EQ(Post(Make("a"), 16), 1u);
  EXPECT_EQ(PostDelayed(Make("b"), 1000), 2u);
  EXPECT_EQ(Post(nullptr), 0u);
  EXPECT_EQ(PostDelayed(nullptr, 0), 0u);
  EXPECT_EQ(Post(Make("c"), 16), 3u);
  WorkLoop* other = WorkLoop::CreateInstance();
  // Each loop counts for itself.
  EXPECT_EQ(other->PerformTask(tasks[0].get(), WorkLoop::PriorityNormal), 1u);
  WorkLoop::DeleteInstance(other);
}

// T1 (20), T2 (16), T3 (16), and T4 (and T5) handed over while T1 or T2
// runs: after the first pass T2 and T3 stand at 17, after the second T3 at
// 19, after the third at 22, past T5 at 20 + 1 to the head.
TEST_F(WorkLoopOrderTest, AgeingLiftsWaitingTasksByTheirAge) {
  const struct {
    char const* queuedBy;
    int t4, t5;  // priorities; 0: not handed over
    Names order;
  } cases[] = {
      {"", 0, 0, {"T1", "T2", "T3"}},
      {"T1", 18, 0, {"T1", "T4", "T2", "T3"}},
      {"T2", 18, 0, {"T1", "T2", "T3", "T4"}},
      {"T2", 21, 20, {"T1", "T2", "T4", "T3", "T5"}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.queuedBy << " " << c.t4 << " " << c.t5);
    Journal journal;
    WorkLoop* loop = WorkLoop::CreateInstance();
    JournalTask t4(journal, "T4");
    JournalTask t5(journal, "T5");
    std::function<void()> queue = [&] {
      loop->PerformTask(&t4, static_cast<WorkLoop::EPriorityValue>(c.t4));
      if (c.t5 != 0) loop->PerformTask(&t5, static_cast<WorkLoop::EPriorityValue>(c.t5));
    };
    JournalTask t1(journal, "T1", std::string(c.queuedBy) == "T1" ? queue : nullptr);
    JournalTask t2(journal, "T2", std::string(c.queuedBy) == "T2" ? queue : nullptr);
    JournalTask t3(journal, "T3");
    loop->PerformTask(&t1, static_cast<WorkLoop::EPriorityValue>(20));
    loop->PerformTask(&t2, WorkLoop::PriorityNormal);
    loop->PerformTask(&t3, WorkLoop::PriorityNormal);
    loop->Run();
    ASSERT_TRUE(journal.WaitFor("~" + c.order.back()));
    WorkLoop::DeleteInstance(loop);
    EXPECT_EQ(journal.Executed(), c.order);
  }
}

TEST_F(WorkLoopOrderTest, EqualPrioritiesKeepHandOverOrderAndHigherOnesOvertake) {
  Post(Make("A"), 16);
  Post(Make("B"), 16);
  Post(Make("C"), 17);
  PostDelayed(Make("P"), 0);  // due at once, but a pass later than a direct hand-over
  Post(Make("D"), 16);
  RunUntil("~P");
  EXPECT_EQ(journal.Executed(), Names({"C", "A", "B", "D", "P"}));
}

// With age n a task stands at its priority + n(n+1)/2: a task of priority 0
// behind a steady stream of priority 100 passes the newcomers at 105, after
// 14 passes.
TEST_F(WorkLoopOrderTest, LowPriorityTaskOvertakesAStreamAfterFourteenPasses) {
  JournalTask* zero = Make("zero");
  int streamed = 0;
  JournalTask* stream = Make("S", [&] {
    if (zero->executes.load() == 0 && ++streamed < 30) Post(tasks[1].get(), 100);
  });
  Post(stream, 100);
  Post(zero, 0);
  RunUntil("zero");
  Delete();  // before `zero` and `streamed` go: the stream may still run
  const Names executed = journal.Executed();
  EXPECT_EQ(std::find(executed.begin(), executed.end(), "zero") - executed.begin(), 14);
}

TEST_F(WorkLoopOrderTest, DelayedTasksRunByDueTimeAndEqualTimesInHandOverOrder) {
  PostDelayed(Make("late"), 120);
  PostDelayed(Make("first"), 30);
  PostDelayed(Make("same1"), 60);
  PostDelayed(Make("same2"), 60);
  PostDelayed(Make("same3"), 60);
  RunUntil("~late");
  EXPECT_EQ(journal.Executed(), Names({"first", "same1", "same2", "same3", "late"}));
  for (auto const& task : tasks) EXPECT_EQ(task->disposes.load(), 1);
}

// Work that becomes due while a long task runs is promoted in the next pass,
// behind that pass's choice, whatever its priority.
TEST_F(WorkLoopOrderTest, DueTaskWaitsBehindThePassThatPromotesIt) {
  JournalTask* urgent = Make("urgent");
  Post(Make("long",
            [&] {
              PostDelayed(urgent, 20, 1000);
              ThreadHelper::Sleep(100);
            }),
       16);
  Post(Make("next"), 16);
  RunUntil("urgent");
  EXPECT_EQ(journal.Executed(), Names({"long", "next", "urgent"}));
}

TEST_F(WorkLoopOrderTest, DueTimesAcrossTheTickWrapRunInTimeOrder) {
  // The count starts 100 ms before 2^32: due times fall on both sides of the wrap.
  detail::SetTickOffsetForTesting(0u - ThreadHelper::GetTickCount() - 100u);
  const Tevrol::Tick start = ThreadHelper::GetTickCount();
  const Tevrol::ULong delays[] = {250, 50, 150};
  for (Tevrol::ULong delay : delays) PostDelayed(Make("d" + std::to_string(delay)), delay);
  RunUntil("d250");
  EXPECT_EQ(journal.Executed(), Names({"d50", "d150", "d250"}));
  for (size_t i = 0; i < 3; ++i) {
    const Tevrol::Tick ran = tasks[i]->executeTick.load();
    EXPECT_GE(detail::TickDifference(ran, start + delays[i]), 0) << "ran early: row " << i;
    if (delays[i] > 100) {
      EXPECT_LT(ran, 0x10000u) << "row " << i;
    }
  }
}

// A due time 2^31 ms or more ahead reads as one in the past. (Exactly 2^31
// ahead turns into the future again once a millisecond has passed.)
TEST_F(WorkLoopOrderTest, DelayOfHalfTheTickRangeOrMoreIsDueAtOnce) {
  PostDelayed(Make("far"), 0x80000000u + 60000u);
  PostDelayed(Make("farther"), 0xFFFFFFFFu);
  RunUntil("farther");
  EXPECT_EQ(journal.Executed().size(), 2u);
}

}  // namespace
