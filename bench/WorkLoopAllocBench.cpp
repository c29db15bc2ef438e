// Counts heap allocations of steady-state hand-overs. Its own executable,
// since it replaces the global operator new. Expected: 0 per task.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {
std::atomic<long> g_allocations{0};
}

void* operator new(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) std::abort();
  return block;
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {
struct Counted : Task {
  std::atomic<int> executed{0};
  void Execute() override { executed.fetch_add(1, std::memory_order_relaxed); }
  void Dispose() override {}
};
}  // namespace

// Hand-overs to a running loop, a few in flight, after a warm-up that has
// grown the pool.
static void BM_WorkLoop_AllocationsPerPerformTask(benchmark::State& state) {
  WorkLoop* loop = WorkLoop::CreateInstance();
  loop->Run();
  Counted task;
  for (int i = 0; i < 1000; ++i) loop->PerformTask(&task, WorkLoop::PriorityNormal);
  while (task.executed.load() < 1000) {
  }
  int posted = 1000;
  const long before = g_allocations.load();
  for (auto _ : state) {
    while (posted - task.executed.load() >= 8) {
    }
    loop->PerformTask(&task, WorkLoop::PriorityNormal);
    ++posted;
  }
  const long allocations = g_allocations.load() - before;
  state.counters["allocs_per_task"] =
      static_cast<double>(allocations) / static_cast<double>(state.iterations());
  WorkLoop::DeleteInstance(loop);
}
BENCHMARK(BM_WorkLoop_AllocationsPerPerformTask)->UseRealTime();
