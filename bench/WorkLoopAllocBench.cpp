// Counts heap allocations of steady-state hand-overs. Its own executable,
// since it replaces the global operator new. Expected: 0 per task.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
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
// grown the pool; at one priority (1), eight (8) or a new one each time (0).
static void BM_WorkLoop_AllocationsPerPerformTask(benchmark::State& state) {
  const auto priorities = static_cast<std::uint32_t>(state.range(0));
  std::uint32_t next = 0;
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
    next = priorities == 0 ? next * 1664525u + 1013904223u : (next + 1) % priorities;
    loop->PerformTask(&task, static_cast<WorkLoop::EPriorityValue>(16 + next));
    ++posted;
  }
  const long allocations = g_allocations.load() - before;
  state.counters["allocs_per_task"] =
      static_cast<double>(allocations) / static_cast<double>(state.iterations());
  WorkLoop::DeleteInstance(loop);
}
BENCHMARK(BM_WorkLoop_AllocationsPerPerformTask)->Arg(1)->Arg(8)->Arg(0)->UseRealTime();
