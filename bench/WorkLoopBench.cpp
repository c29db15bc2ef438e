// Naming: BM_<Class>_<What>. Every work loop figure stands beside two
// references measured in the same run:
// - PlainQueue: std::mutex, std::condition_variable and std::deque with one
//   worker thread, what a user would write instead;
// - FloorQueue: a deque with the calls a pass of the loop must make (the
//   recursive lock taken twice and a tick read per pass, our event), so
//   that the ratio to it shows the cost of the priorities alone.
// Placement (the first argument of the burst and latency figures): 0 the
// producer on CPU 0 and the worker on CPU 1, 1 both pinned to CPU 0.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>

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
#include "threads/CriticalSection.h"
#include "threads/SetResetEvent.h"
#include "threads/ThreadHelper.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"
#include "workloop/WorkLoopImpl.h"

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

// Gives its credit back in Dispose, the last call the worker makes on it.
struct CreditTask : Task {
  Credits* credits = nullptr;
  void Execute() override {}
  void Dispose() override { credits->Give(); }
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

// The floor: what a pass of the loop must do, around a deque.
class FloorQueue {
 public:
  FloorQueue() : m_worker([this] { Work(); }) {}
  ~FloorQueue() {
    m_lock.Lock();
    m_stop = true;
    m_lock.Unlock();
    m_wake.Set();
    m_worker.join();
  }
  void Post(Task* task) {
    m_lock.Lock();
    const bool wasEmpty = m_queue.empty();
    m_queue.push_back(task);
    m_lock.Unlock();
    if (wasEmpty) m_wake.Set();
  }

 private:
  void Work() {
    for (;;) {
      m_lock.Lock();
      if (m_stop && m_queue.empty()) {
        m_lock.Unlock();
        return;
      }
      Task* task = nullptr;
      if (!m_queue.empty()) {
        task = m_queue.front();
        m_queue.pop_front();
      }
      benchmark::DoNotOptimize(ThreadHelper::GetTickCount());
      m_lock.Unlock();
      if (task != nullptr) {
        task->Execute();
        task->Dispose();
      }
      m_lock.Lock();
      if (!m_queue.empty() || m_stop) {
        m_lock.Unlock();
        continue;
      }
      m_wake.Reset();
      m_lock.Unlock();
      m_wake.Wait();
    }
  }
  CriticalSection m_lock;
  detail::SetResetEvent m_wake;
  std::deque<Task*> m_queue;
  bool m_stop = false;
  std::thread m_worker;
};

void PinCurrentThread(int cpu) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(cpu, &set);
  pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

void UnpinCurrentThread() {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) CPU_SET(cpu, &set);
  pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

// Opens once, wakes whoever waits.
class Latch {
 public:
  void Open() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_open = true;
    m_changed.notify_all();
  }
  void Wait() {
    std::unique_lock<std::mutex> guard(m_lock);
    m_changed.wait(guard, [&] { return m_open; });
    m_open = false;
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  bool m_open = false;
};

// Pins the thread that runs it, then opens its latch in Dispose, the last
// call the worker makes on it.
struct PinTask : Task {
  int cpu = 0;
  Latch done;
  void Execute() override { PinCurrentThread(cpu); }
  void Dispose() override { done.Open(); }
};

// Counts hand-overs and opens the latch at the last Dispose of a burst.
struct BurstTask : Task {
  long remaining = 0;  // touched by the worker only while a burst runs
  Latch done;
  void Execute() override {}
  void Dispose() override {
    if (--remaining == 0) done.Open();
  }
};

// The three queues behind one face: Post(task, priority) and Pin(cpu).
struct LoopUnderTest {
  WorkLoop* loop = WorkLoop::CreateInstance();
  LoopUnderTest() { loop->Run(); }
  ~LoopUnderTest() { WorkLoop::DeleteInstance(loop); }
  void Post(Task* task, std::uint32_t priority) {
    loop->PerformTask(task, static_cast<WorkLoop::EPriorityValue>(priority));
  }
};
struct PlainUnderTest {
  PlainQueue queue;
  void Post(Task* task, std::uint32_t) { queue.Post(task); }
};
struct FloorUnderTest {
  FloorQueue queue;
  void Post(Task* task, std::uint32_t) { queue.Post(task); }
};

template <class Queue>
void PinWorker(Queue& queue, int cpu) {
  PinTask pin;
  pin.cpu = cpu;
  queue.Post(&pin, 16);
  pin.done.Wait();
}

// A burst of 1,000,000 hand-overs from this thread, then the wait for the
// last Execute; `priorities` distinct values mixed (16, 17, ...).
template <class Queue>
void RunBurst(benchmark::State& state, int priorities) {
  constexpr long kBurst = 1000000;
  const bool oneCore = state.range(0) == 1;
  BurstTask task;  // outlives the queue's worker
  Queue queue;
  PinCurrentThread(0);
  PinWorker(queue, oneCore ? 0 : 1);
  // One burst untimed: the pool (or the deque's allocator) has grown.
  task.remaining = kBurst;
  for (long i = 0; i < kBurst; ++i) queue.Post(&task, 16);
  task.done.Wait();
  for (auto _ : state) {
    task.remaining = kBurst;
    for (long i = 0; i < kBurst; ++i) {
      queue.Post(&task, 16 + static_cast<std::uint32_t>(i % priorities));
    }
    task.done.Wait();
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  UnpinCurrentThread();
}

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
// flight.
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

static void BM_WorkLoop_Burst(benchmark::State& state) {
  RunBurst<LoopUnderTest>(state, 1);
}
static void BM_WorkLoop_BurstEightPriorities(benchmark::State& state) {
  RunBurst<LoopUnderTest>(state, 8);
}
static void BM_PlainQueue_Burst(benchmark::State& state) {
  RunBurst<PlainUnderTest>(state, 1);
}
static void BM_FloorQueue_Burst(benchmark::State& state) {
  RunBurst<FloorUnderTest>(state, 1);
}
BENCHMARK(BM_WorkLoop_Burst)->Arg(0)->Arg(1)->Iterations(3)->UseRealTime();
BENCHMARK(BM_WorkLoop_BurstEightPriorities)->Arg(0)->Arg(1)->Iterations(3)->UseRealTime();
BENCHMARK(BM_PlainQueue_Burst)->Arg(0)->Arg(1)->Iterations(3)->UseRealTime();
BENCHMARK(BM_FloorQueue_Burst)->Arg(0)->Arg(1)->Iterations(3)->UseRealTime();

// One PerformTask and one pass with n tasks waiting at `priorities` distinct
// values (n, priorities), on this thread through the loop's pass: the cost
// of a pass must not grow with n.
static void BM_WorkLoop_PassWithWaiting(benchmark::State& state) {
  struct Nop : Task {
    void Execute() override {}
    void Dispose() override {}
  } nop;
  const long waiting = state.range(0);
  const auto priorities = static_cast<std::uint32_t>(state.range(1));
  auto* loop = new WorkLoopImpl;
  for (long i = 0; i < waiting; ++i) {
    loop->PerformTask(&nop, static_cast<WorkLoop::EPriorityValue>(16 + i % priorities));
  }
  loop->BeginRunForTesting();
  WorkLoopImpl::IdleWait wait;
  std::uint32_t next = 0;
  for (auto _ : state) {
    loop->PerformTask(&nop, static_cast<WorkLoop::EPriorityValue>(16 + next));
    next = next + 1 == priorities ? 0 : next + 1;
    loop->ExecutePass(wait);
  }
  loop->Shutdown(nullptr);  // after the timed loop
  while (loop->ExecutePass(wait)) {
  }
  loop->EndRunForTesting();
  delete loop;
}
BENCHMARK(BM_WorkLoop_PassWithWaiting)->ArgsProduct({{1000, 10000, 100000, 1000000}, {1, 8}});

// The same on the floor: a deque under the recursive lock, taken twice a
// pass, and a tick read.
static void BM_FloorQueue_PassWithWaiting(benchmark::State& state) {
  struct Nop : Task {
    void Execute() override {}
    void Dispose() override {}
  } nop;
  CriticalSection lock;
  std::deque<Task*> queue(static_cast<size_t>(state.range(0)), &nop);
  for (auto _ : state) {
    lock.Lock();
    queue.push_back(&nop);
    lock.Unlock();
    lock.Lock();
    Task* task = queue.front();
    queue.pop_front();
    benchmark::DoNotOptimize(ThreadHelper::GetTickCount());
    lock.Unlock();
    task->Execute();
    task->Dispose();
    lock.Lock();
    benchmark::DoNotOptimize(queue.empty());
    lock.Unlock();
  }
}
BENCHMARK(BM_FloorQueue_PassWithWaiting)->Arg(1000)->Arg(1000000);

// The plain queue's hand-over and take under std::mutex.
static void BM_PlainQueue_PassWithWaiting(benchmark::State& state) {
  struct Nop : Task {
    void Execute() override {}
    void Dispose() override {}
  } nop;
  std::mutex lock;
  std::deque<Task*> queue(static_cast<size_t>(state.range(0)), &nop);
  for (auto _ : state) {
    Task* task = nullptr;
    {
      std::lock_guard<std::mutex> guard(lock);
      queue.push_back(&nop);
    }
    {
      std::lock_guard<std::mutex> guard(lock);
      task = queue.front();
      queue.pop_front();
    }
    task->Execute();
    task->Dispose();
  }
}
BENCHMARK(BM_PlainQueue_PassWithWaiting)->Arg(1000)->Arg(1000000);

// Wake-up latency of an idle worker: from the hand-over on this thread to
// the start of Execute on the worker. Median and p99 as counters. The
// producer spins while it waits: on one core the worker runs only because
// its wake-up preempts the producer, so every extra switch on the way shows.
template <class Queue>
void RunWakeUpLatency(benchmark::State& state) {
  struct Stamp : Task {
    std::atomic<std::int64_t> at{0};
    void Execute() override {
      at.store(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    void Dispose() override {}
  } stamp;
  const bool oneCore = state.range(0) == 1;
  Queue queue;
  PinCurrentThread(0);
  PinWorker(queue, oneCore ? 0 : 1);
  std::vector<double> samples;
  for (auto _ : state) {
    state.PauseTiming();
    stamp.at.store(0);
    ThreadHelper::Sleep(1);  // let the worker fall asleep
    state.ResumeTiming();
    const auto sent = std::chrono::steady_clock::now().time_since_epoch().count();
    queue.Post(&stamp, 16);
    while (stamp.at.load() == 0) {
    }
    samples.push_back(static_cast<double>(stamp.at.load() - sent) / 1000.0);
  }
  ReportPercentiles(state, samples, "us");
  UnpinCurrentThread();
}

static void BM_WorkLoop_WakeUpLatency(benchmark::State& state) {
  RunWakeUpLatency<LoopUnderTest>(state);
}
static void BM_PlainQueue_WakeUpLatency(benchmark::State& state) {
  RunWakeUpLatency<PlainUnderTest>(state);
}
static void BM_FloorQueue_WakeUpLatency(benchmark::State& state) {
  RunWakeUpLatency<FloorUnderTest>(state);
}
BENCHMARK(BM_WorkLoop_WakeUpLatency)->Arg(0)->Arg(1)->Iterations(2000)->UseRealTime();
BENCHMARK(BM_PlainQueue_WakeUpLatency)->Arg(0)->Arg(1)->Iterations(2000)->UseRealTime();
BENCHMARK(BM_FloorQueue_WakeUpLatency)->Arg(0)->Arg(1)->Iterations(2000)->UseRealTime();

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
