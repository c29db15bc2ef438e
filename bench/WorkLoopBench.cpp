// Naming: BM_<Class>_<What>. The floor is a plain queue of std::mutex,
// std::condition_variable and std::deque with one worker thread, doing the
// same hand-over.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "threads/ThreadHelper.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

// Bounds the tasks in flight: the producer takes a credit per hand-over,
// Execute gives it back.
class Credits {
 public:
  explicit Credits(int count) : m_count(count) {}
  void Take() {
    std::unique_lock<std::mutex> guard(m_lock);
    m_changed.wait(guard, [&] { return m_count > 0; });
    --m_count;
  }
  void Give() {
    std::lock_guard<std::mutex> guard(m_lock);
    ++m_count;
    m_changed.notify_one();
  }
  void WaitForAll(int count) {
    std::unique_lock<std::mutex> guard(m_lock);
    m_changed.wait(guard, [&] { return m_count == count; });
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  int m_count;
};

struct CreditTask : Task {
  Credits* credits = nullptr;
  void Execute() override { credits->Give(); }
  void Dispose() override {}
};

// The floor: one worker thread over a locked deque.
class PlainQueue {
 public:
  PlainQueue() : m_worker([this] { Work(); }) {}
  ~PlainQueue() {
    {
      std::lock_guard<std::mutex> guard(m_lock);
      m_stop = true;
    }
    m_changed.notify_one();
    m_worker.join();
  }
  void Post(Task* task) {
    {
      std::lock_guard<std::mutex> guard(m_lock);
      m_queue.push_back(task);
    }
    m_changed.notify_one();
  }

 private:
  void Work() {
    std::unique_lock<std::mutex> guard(m_lock);
    for (;;) {
      m_changed.wait(guard, [&] { return m_stop || !m_queue.empty(); });
      if (m_queue.empty()) return;
      Task* task = m_queue.front();
      m_queue.pop_front();
      guard.unlock();
      task->Execute();
      task->Dispose();
      guard.lock();
    }
  }
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::deque<Task*> m_queue;
  bool m_stop = false;
  std::thread m_worker;
};

template <class Post>
void RunThroughput(benchmark::State& state, Post post) {
  const int inFlight = static_cast<int>(state.range(0));
  Credits credits(inFlight);
  std::vector<CreditTask> tasks(static_cast<size_t>(inFlight));
  for (auto& task : tasks) task.credits = &credits;
  size_t next = 0;
  for (auto _ : state) {
    credits.Take();
    post(&tasks[next]);
    next = (next + 1) % tasks.size();
  }
  credits.WaitForAll(inFlight);
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

// Cross-thread PerformTask -> Execute with a bounded number of tasks in
// flight (the ageing makes draining n queued tasks cost O(n^2)).
static void BM_WorkLoop_PerformTaskThroughput(benchmark::State& state) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  loop->Run();
  RunThroughput(state, [loop](Task* task) { loop->PerformTask(task, WorkLoop::PriorityNormal); });
  WorkLoop::DeleteInstance(loop);
}
BENCHMARK(BM_WorkLoop_PerformTaskThroughput)->Arg(8)->Arg(64)->UseRealTime();

static void BM_PlainQueue_PostThroughput(benchmark::State& state) {
  PlainQueue queue;
  RunThroughput(state, [&queue](Task* task) { queue.Post(task); });
}
BENCHMARK(BM_PlainQueue_PostThroughput)->Arg(8)->Arg(64)->UseRealTime();

// Draining n tasks queued on an idle loop: each pass ages every waiting
// record, so the cost per task grows with n.
static void BM_WorkLoop_DrainQueued(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  struct Nop : Task {
    void Execute() override {}
    void Dispose() override {}
  } nop;
  struct Stopper : Task {
    WorkLoop* loop = nullptr;
    void Execute() override { loop->Shutdown(nullptr); }
    void Dispose() override {}
  } stopper;
  for (auto _ : state) {
    WorkLoop* loop = WorkLoop::CreateInstance();
    stopper.loop = loop;
    loop->PerformTask(&stopper, WorkLoop::PriorityHighest);
    for (int i = 0; i < n; ++i) loop->PerformTask(&nop, WorkLoop::PriorityNormal);
    loop->RunBlocking();  // on this thread, until the drain is over
    WorkLoop::DeleteInstance(loop);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_WorkLoop_DrainQueued)->Arg(16)->Arg(256)->Arg(1024)->UseRealTime();

// Wake-up latency of an idle loop: from PerformTask on this thread to the
// start of Execute on the loop's thread. Median and p99 as counters.
template <class Post>
void RunWakeUpLatency(benchmark::State& state, Post post) {
  struct Stamp : Task {
    std::atomic<std::int64_t> at{0};
    void Execute() override {
      at.store(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    void Dispose() override {}
  } stamp;
  std::vector<double> samples;
  for (auto _ : state) {
    state.PauseTiming();
    stamp.at.store(0);
    ThreadHelper::Sleep(1);  // let the loop fall asleep
    state.ResumeTiming();
    const auto sent = std::chrono::steady_clock::now().time_since_epoch().count();
    post(&stamp);
    while (stamp.at.load() == 0) {
    }
    samples.push_back(static_cast<double>(stamp.at.load() - sent) / 1000.0);
  }
  ReportPercentiles(state, samples, "us");
}

static void BM_WorkLoop_WakeUpLatency(benchmark::State& state) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  loop->Run();
  RunWakeUpLatency(state,
                   [loop](Task* task) { loop->PerformTask(task, WorkLoop::PriorityNormal); });
  WorkLoop::DeleteInstance(loop);
}
BENCHMARK(BM_WorkLoop_WakeUpLatency)->Iterations(2000)->UseRealTime();

static void BM_PlainQueue_WakeUpLatency(benchmark::State& state) {
  PlainQueue queue;
  RunWakeUpLatency(state, [&queue](Task* task) { queue.Post(task); });
}
BENCHMARK(BM_PlainQueue_WakeUpLatency)->Iterations(2000)->UseRealTime();

// Processor time of the process over one second: 0 without a loop (the
// floor: the measuring itself), 1 with an idle loop, 2 with an idle loop
// holding a task delayed an hour ahead. Expected: the floor.
static void BM_WorkLoop_IdleProcessorTime(benchmark::State& state) {
  struct Nop : Task {
    void Execute() override {}
    void Dispose() override {}
  } nop;
  for (auto _ : state) {
    WorkLoop* loop = state.range(0) == 0 ? nullptr : WorkLoop::CreateInstance();
    if (state.range(0) == 2) loop->PerformTaskDelayed(&nop, 3600000, WorkLoop::PriorityNormal);
    if (loop != nullptr) loop->Run();
    ThreadHelper::Sleep(50);  // past the start
    timespec before, after;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
    ThreadHelper::Sleep(1000);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);
    state.counters["cpu_us_per_s"] = static_cast<double>((after.tv_sec - before.tv_sec) * 1000000L +
                                                         (after.tv_nsec - before.tv_nsec) / 1000L);
    WorkLoop::DeleteInstance(loop);
  }
}
BENCHMARK(BM_WorkLoop_IdleProcessorTime)->DenseRange(0, 2)->Iterations(1)->UseRealTime();
