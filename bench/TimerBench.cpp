// Naming: BM_<Class>_<What>. Timer lateness (fire time minus deadline, in
// ticks) and the cost of registering one more timer beside n others, against
// a priority-queue timer thread measured in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <queue>
#include <random>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "threads/ThreadHelper.h"
#include "threads/Tick.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrlImpl.h"

namespace {
struct Stamped : TimerContext {
  std::atomic<Tevrol::Tick> firedAt{0};
  std::atomic<int>* remaining = nullptr;
  void Tick() override {
    firedAt.store(TevrolTimerNow());
    remaining->fetch_sub(1);
  }
};
struct Silent : TimerContext {
  void Tick() override {}
};

// What a user would write instead of the service: one thread that sleeps on
// a std::condition_variable until the earliest deadline of a
// std::priority_queue, and is woken when a new timer becomes the earliest.
// A priority_queue cannot take an entry out, so a cancelled timer's entry
// stays, marked stale by the timer, until it reaches the top or stale
// entries outnumber live ones and are dropped in one pass.
class PriorityQueueTimers {
 public:
  using Clock = std::chrono::steady_clock;
  struct Timer {
    std::uint64_t armed = 0;  // id of the live entry, 0 for none; under the mutex
    void Fire() {}
  };

  PriorityQueueTimers() : m_thread([this] { Run(); }) {}
  ~PriorityQueueTimers() {
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_stop = true;
    }
    m_wake.notify_one();
    m_thread.join();
  }
  PriorityQueueTimers(PriorityQueueTimers const&) = delete;
  PriorityQueueTimers& operator=(PriorityQueueTimers const&) = delete;

  // Like NewTimer: a timer that is armed already stays as it is.
  void Start(Timer* timer, std::chrono::milliseconds after) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (timer->armed != 0) return;
    const Entry entry{Clock::now() + after, ++m_nextId, timer};
    timer->armed = entry.id;
    const bool earliest = m_queue.empty() || Later()(m_queue.top(), entry);
    m_queue.push(entry);
    if (earliest) m_wake.notify_one();
  }
  bool Cancel(Timer* timer) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (timer->armed == 0) return false;
    timer->armed = 0;
    if (++m_stale * 2 > m_queue.size()) {
      m_queue.DropStale();
      m_stale = 0;
    }
    return true;
  }

 private:
  struct Entry {
    Clock::time_point due;
    std::uint64_t id;
    Timer* timer;
  };
  struct Later {
    bool operator()(Entry const& a, Entry const& b) const {
      return a.due > b.due || (a.due == b.due && a.id > b.id);
    }
  };
  struct Queue : std::priority_queue<Entry, std::vector<Entry>, Later> {
    void DropStale() {
      c.erase(
          std::remove_if(c.begin(), c.end(), [](Entry const& e) { return e.timer->armed != e.id; }),
          c.end());
      std::make_heap(c.begin(), c.end(), comp);
    }
  };

  void Run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
      if (m_queue.empty()) {
        m_wake.wait(lock);
        continue;
      }
      const Entry top = m_queue.top();
      if (top.timer->armed != top.id) {
        m_queue.pop();
        --m_stale;
        continue;
      }
      if (Clock::now() < top.due) {
        m_wake.wait_until(lock, top.due);
        continue;
      }
      m_queue.pop();
      top.timer->armed = 0;
      lock.unlock();
      top.timer->Fire();
      lock.lock();
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_wake;
  Queue m_queue;
  std::size_t m_stale = 0;
  std::uint64_t m_nextId = 0;
  bool m_stop = false;
  std::thread m_thread;
};

// The registered timers lie 1 h to 2 h out; batches of 64 are timed together.
constexpr Tevrol::ULong kBase = 3600000;
constexpr Tevrol::ULong kSpread = 3600000;
constexpr int kBatch = 64;
}  // namespace

// 1,000 one-shot timers spread evenly over 200 ms; p50 and p99 of how late
// each fired, in milliseconds.
static void BM_TimerCtrl_Lateness(benchmark::State& state) {
  constexpr int kTimers = 1000;
  TimerCtrlImpl timers;
  std::vector<double> lateness;
  for (auto _ : state) {
    std::vector<std::unique_ptr<Stamped>> contexts;
    std::atomic<int> remaining{kTimers};
    for (int i = 0; i < kTimers; ++i) {
      contexts.push_back(std::make_unique<Stamped>());
      contexts.back()->remaining = &remaining;
      contexts.back()->SetIntervall(static_cast<Tevrol::ULong>(i * 200 / kTimers));
      timers.NewTimer(contexts.back().get());
    }
    while (remaining.load() > 0) ThreadHelper::Sleep(1);
    for (auto const& c : contexts) {
      lateness.push_back(detail::TickDifference(c->firedAt.load(), c->GetTimeout()));
    }
  }
  ReportPercentiles(state, lateness, "ms");
}
BENCHMARK(BM_TimerCtrl_Lateness)->Iterations(3)->UseRealTime();

// NewTimer + RemoveTimer of one timer while n others are registered, in the
// service and in the priority-queue thread side by side, alternating batches
// of 64 so that both see the same machine state. Increasing: each new
// deadline lies behind all others (the common case). Random: uniform among
// them. In both one earlier timer stays at the head, so no wake-up is
// queued. Counters: ns per pair for each, and their ratio.
static void NewTimerBesideOthers(benchmark::State& state, bool randomOrder) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::mt19937 random(42);
  std::uniform_int_distribution<Tevrol::ULong> spread(kBase, kBase + kSpread - 1);
  std::vector<Tevrol::ULong> intervals(n);
  for (std::size_t i = 0; i < n; ++i) {
    intervals[i] = randomOrder ? spread(random) : kBase + static_cast<Tevrol::ULong>(i);
  }
  std::vector<Tevrol::ULong> probes(4096);
  for (auto& probe : probes) probe = randomOrder ? spread(random) : kBase + kSpread + 60000;

  // The timers first: both services go before them.
  Silent head;
  Silent probe;
  std::vector<Silent> others(n);
  PriorityQueueTimers::Timer referenceHead;
  PriorityQueueTimers::Timer referenceProbe;
  std::vector<PriorityQueueTimers::Timer> referenceOthers(n);
  TimerCtrlImpl timers;
  PriorityQueueTimers reference;
  head.SetIntervall(kBase - 60000);
  timers.NewTimer(&head);
  reference.Start(&referenceHead, std::chrono::milliseconds(kBase - 60000));
  for (std::size_t i = 0; i < n; ++i) {
    others[i].SetIntervall(intervals[i]);
    timers.NewTimer(&others[i]);
    reference.Start(&referenceOthers[i], std::chrono::milliseconds(intervals[i]));
  }

  std::size_t next = 0;
  double ours = 0;
  double theirs = 0;
  for (auto _ : state) {
    const std::size_t first = next;
    auto start = std::chrono::steady_clock::now();
    for (int k = 0; k < kBatch; ++k) {
      probe.SetIntervall(probes[next++ % probes.size()]);
      timers.NewTimer(&probe);
      timers.RemoveTimer(&probe);
    }
    const auto middle = std::chrono::steady_clock::now();
    next = first;
    for (int k = 0; k < kBatch; ++k) {
      reference.Start(&referenceProbe, std::chrono::milliseconds(probes[next++ % probes.size()]));
      reference.Cancel(&referenceProbe);
    }
    const auto end = std::chrono::steady_clock::now();
    const double ourBatch = std::chrono::duration<double>(middle - start).count();
    ours += ourBatch;
    theirs += std::chrono::duration<double>(end - middle).count();
    state.SetIterationTime(ourBatch);
  }
  const double pairs = static_cast<double>(state.iterations()) * kBatch;
  state.counters["ns"] = ours / pairs * 1e9;
  state.counters["pq_ns"] = theirs / pairs * 1e9;
  state.counters["x_pq"] = ours / theirs;
  state.SetItemsProcessed(static_cast<std::int64_t>(pairs));
  for (auto& other : others) timers.RemoveTimer(&other);
  timers.RemoveTimer(&head);
}

static void BM_TimerCtrl_NewTimerIncreasing(benchmark::State& state) {
  NewTimerBesideOthers(state, false);
}
BENCHMARK(BM_TimerCtrl_NewTimerIncreasing)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime();

static void BM_TimerCtrl_NewTimerRandom(benchmark::State& state) {
  NewTimerBesideOthers(state, true);
}
BENCHMARK(BM_TimerCtrl_NewTimerRandom)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime();
