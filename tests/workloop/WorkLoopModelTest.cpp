// The work loop against the literal steps of its queues (WorkLoopModel):
// programs of hand-overs, passes, cancels and removals compared step by
// step, and the cases where ties and the ceiling of the ageing decide.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/Journal.h"
#include "support/StressScale.h"
#include "workloop/WorkLoopDifferential.h"
#include "workloop/WorkLoopImpl.h"

namespace {

TEST(WorkLoopModelTest, RandomProgramsRunAsTheLiteralSteps) {
  std::mt19937 random(20261124);
  const int programs = 400 / kStressScale;
  for (int program = 0; program < programs; ++program) {
    std::vector<std::uint8_t> bytes(static_cast<size_t>(64 + program % 7 * 150));
    for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
    const std::string error = WorkLoopDifferential::Play(bytes.data(), bytes.size());
    ASSERT_EQ(error, "") << "program " << program;
  }
}

// Every record stands at min(priority + k(k+1)/2, 0xFFFFFFFF) after k passes:
// the order follows from that and from who led when two values tie. The
// tasks are a, b, ... in order; "a" runs first and hands over the rest.
TEST(WorkLoopModelTest, TiesAndTheCeilingDecideAsTheStepsDo) {
  constexpr std::uint32_t kTop = 0xFFFFFFFFu;
  const struct {
    char const* name;
    std::vector<std::uint32_t> before, during;
    Names order;
  } cases[] = {
      // The top priority does not wrap to the bottom after a pass: tasks
      // handed over later at 16 stay behind b.
      {"top stays top", {kTop, kTop}, {16, 16}, {"a", "b", "c", "d"}},
      // A 16 that aged once stands at 17; a 17 handed over then goes behind it.
      {"newcomer behind an equal", {20, 16}, {17}, {"a", "b", "c"}},
      // d (18) goes ahead of c (16, now 17); a pass later both stand at 19
      // and d, ahead before, stays ahead.
      {"a tie keeps the leader", {30, 29, 16}, {18}, {"a", "b", "d", "c"}},
      // c (top - 1) reaches the ceiling in the first pass; e, handed over at
      // the ceiling itself, goes behind it, and d reaches it only later.
      {"the ceiling in order of arrival",
       {kTop, kTop, kTop - 1, kTop - 2},
       {kTop},
       {"a", "b", "c", "e", "d"}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    Journal journal;
    WorkLoop* loop = WorkLoop::CreateInstance();
    std::vector<std::unique_ptr<JournalTask>> tasks;
    std::vector<JournalTask*> later;
    char name = 'a';
    for (std::uint32_t priority : c.before) {
      std::function<void()> handOver;
      if (tasks.empty()) {
        handOver = [&] {
          for (size_t i = 0; i < later.size(); ++i) {
            loop->PerformTask(later[i], static_cast<WorkLoop::EPriorityValue>(c.during[i]));
          }
        };
      }
      tasks.push_back(std::make_unique<JournalTask>(journal, std::string(1, name++), handOver));
      loop->PerformTask(tasks.back().get(), static_cast<WorkLoop::EPriorityValue>(priority));
    }
    for (size_t i = 0; i < c.during.size(); ++i) {
      tasks.push_back(std::make_unique<JournalTask>(journal, std::string(1, name++)));
      later.push_back(tasks.back().get());
    }
    loop->Run();
    ASSERT_TRUE(journal.WaitFor("~" + c.order.back()));
    WorkLoop::DeleteInstance(loop);
    EXPECT_EQ(journal.Executed(), c.order);
  }
}

// Queue ids repeat after 2^32 hand-overs: Cancel and Remove take the first
// record with the id in queue order, in the priority queue before the
// delayed one.
TEST(WorkLoopModelTest, RepeatedIdsAreFoundInQueueOrder) {
  Journal journal;
  JournalTask low(journal, "low"), mid(journal, "mid"), top(journal, "top"),
      delayed(journal, "delayed");
  WorkLoopImpl loop;  // disposes what is left before the tasks go
  loop.SetNextQueueIdForTesting(0xFFFFFFFFull);
  EXPECT_EQ(loop.PerformTask(&low, static_cast<WorkLoop::EPriorityValue>(16)), 0xFFFFFFFFu);
  EXPECT_EQ(loop.PerformTask(&mid, static_cast<WorkLoop::EPriorityValue>(17)), 0u);  // wrapped
  loop.SetNextQueueIdForTesting(0x1FFFFFFFFull);  // the same low 32 bits again
  EXPECT_EQ(loop.PerformTaskDelayed(&delayed, 0, WorkLoop::PriorityNormal), 0xFFFFFFFFu);
  EXPECT_EQ(loop.PerformTask(&top, static_cast<WorkLoop::EPriorityValue>(18)), 0u);
  Task* out = nullptr;
  EXPECT_EQ(loop.Remove(0, out), 0);  // the 18, which stands first
  EXPECT_EQ(out, &top);
  loop.Cancel(0xFFFFFFFFu);  // low, not the delayed one
  std::vector<WorkLoopImpl::Entry> priorized, delayedQueue;
  loop.GetQueuesForTesting(priorized, delayedQueue);
  ASSERT_EQ(priorized.size(), 2u);
  EXPECT_EQ(priorized[0].task, &mid);
  EXPECT_TRUE(priorized[1].cancelled);
  ASSERT_EQ(delayedQueue.size(), 1u);
  EXPECT_FALSE(delayedQueue[0].cancelled);
  EXPECT_EQ(loop.Remove(0xFFFFFFFFu, out), 0);
  EXPECT_EQ(out, &low);
  EXPECT_EQ(loop.Remove(0xFFFFFFFFu, out), 0);
  EXPECT_EQ(out, &delayed);
}

}  // namespace
