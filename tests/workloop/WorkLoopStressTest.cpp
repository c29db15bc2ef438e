// Several threads queue, delay and cancel while the loop runs and its tasks
// remove each other; then the loop shuts down. Whatever the interleaving:
// every accepted hand-over gets exactly one Dispose unless a Remove took it
// back, Execute calls never overlap, refused hand-overs are never touched.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "support/StressScale.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

std::atomic<bool> g_inside{false};
std::atomic<int> g_overlaps{0};

// One task object per hand-over, so that each can be checked on its own.
struct CountingTask : Task {
  std::atomic<int> executes{0};
  std::atomic<int> disposes{0};
  std::atomic<Tevrol::ULong> queueId{0};
  std::atomic<bool> removed{false};
  std::function<void()> onExecute;
  void Execute() override {
    if (g_inside.exchange(true)) g_overlaps.fetch_add(1);
    executes.fetch_add(1);
    if (onExecute) onExecute();
    g_inside.store(false);
  }
  void Dispose() override { disposes.fetch_add(1); }
};

TEST(WorkLoopStressTest, EveryAcceptedHandOverEndsExactlyOnce) {
  for (int producers : {2, 4}) {
    SCOPED_TRACE(producers);
    WorkLoop* loop = WorkLoop::CreateInstance();
    const int perProducer = 600 / kStressScale;
    std::vector<std::unique_ptr<CountingTask>> tasks(static_cast<size_t>(producers * perProducer));
    for (auto& task : tasks) task = std::make_unique<CountingTask>();
    // Some tasks remove another hand-over, which only the loop's thread may do.
    for (size_t i = 0; i < tasks.size(); i += 7) {
      CountingTask* victim = tasks[(i + 3) % tasks.size()].get();
      tasks[i]->onExecute = [loop, victim] {
        Task* out = nullptr;
        if (loop->Remove(victim->queueId.load(), out) == 0 && out == victim) {
          victim->removed.store(true);
        }
      };
    }
    ASSERT_TRUE(loop->Run());
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p) {
      threads.emplace_back([&, p] {
        unsigned seed = 99u + static_cast<unsigned>(p);
        for (int i = 0; i < perProducer; ++i) {
          CountingTask* task = tasks[static_cast<size_t>(p * perProducer + i)].get();
          seed = seed * 1103515245u + 12345u;
          const auto priority = static_cast<WorkLoop::EPriorityValue>((seed >> 16) % 32);
          const Tevrol::ULong id = (seed >> 8) % 3 == 0
                                       ? loop->PerformTaskDelayed(task, (seed >> 4) % 20, priority)
                                       : loop->PerformTask(task, priority);
          task->queueId.store(id);
          if ((seed >> 12) % 5 == 0) loop->Cancel(id);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    // Once the run has ended the loop is idle and accepts again: ask while it drains.
    CountingTask refused, last;
    std::atomic<Tevrol::ULong> refusedId{1};
    last.onExecute = [&] {
      refusedId.store(loop->PerformTask(&refused, WorkLoop::PriorityNormal));
    };
    loop->Shutdown(&last);
    WorkLoop::DeleteInstance(loop);
    EXPECT_EQ(refusedId.load(), 0u);
    EXPECT_EQ(last.executes.load(), 1);

    EXPECT_EQ(g_overlaps.load(), 0);
    EXPECT_EQ(refused.executes.load() + refused.disposes.load(), 0);
    int removed = 0;
    for (auto const& task : tasks) {
      ASSERT_NE(task->queueId.load(), 0u);
      const int expected = task->removed.load() ? 0 : 1;
      removed += task->removed.load() ? 1 : 0;
      EXPECT_EQ(task->disposes.load(), expected);
      EXPECT_LE(task->executes.load(), expected);
    }
    RecordProperty("removed", removed);
  }
}

// A hand-over sets the wake event after its unlock, so the task it handed
// over can run, and delete its loop, before that Set has returned; the loop
// must not be freed under it. The loop is kept busy by a task that hands
// itself over again, so that it takes the new task without waiting for the
// Set. Sanitizers see a freed event if the loop does not wait.
TEST(WorkLoopStressTest, TaskDeletesItsLoopWhileItsHandOverMaySetTheEvent) {
  const int rounds = 300 / kStressScale;
  for (int round = 0; round < rounds; ++round) {
    WorkLoop* loop = WorkLoop::CreateInstance();
    CountingTask spinner, last;
    std::vector<std::unique_ptr<CountingTask>> counted(20);
    for (auto& task : counted) task = std::make_unique<CountingTask>();
    std::atomic<int> handedOver{1};
    spinner.onExecute = [&] {
      // Refused once the loop is shutting down.
      if (loop->PerformTask(&spinner, WorkLoop::PriorityNormal) != 0) handedOver.fetch_add(1);
    };
    CountingTask killer;
    killer.onExecute = [&] {
      loop->Shutdown(&last);  // `last` runs at the end of the drain
      WorkLoop::DeleteInstance(loop);
    };
    std::atomic<int> accepted{0};
    loop->PerformTask(&spinner, WorkLoop::PriorityNormal);
    ASSERT_TRUE(loop->Run());
    std::thread producer([&] {
      for (auto& task : counted) {
        if (loop->PerformTask(task.get(), WorkLoop::PriorityNormal) != 0) accepted.fetch_add(1);
      }
      // The last touch of the loop from this thread.
      loop->PerformTask(&killer, static_cast<WorkLoop::EPriorityValue>(round % 2 == 0 ? 16 : 100));
    });
    producer.join();
    while (last.disposes.load() == 0) std::this_thread::yield();
    EXPECT_EQ(accepted.load(), 20);
    EXPECT_EQ(killer.executes.load(), 1);
    EXPECT_EQ(last.executes.load(), 1);
    for (auto const& task : counted) {
      EXPECT_EQ(task->executes.load(), 1);
      EXPECT_EQ(task->disposes.load(), 1);
    }
    EXPECT_EQ(spinner.disposes.load(), handedOver.load());
    EXPECT_EQ(spinner.executes.load(), handedOver.load());
  }
}

}  // namespace
