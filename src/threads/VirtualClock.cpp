#include "threads/VirtualClock.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace detail {

std::atomic<bool> g_virtualTimeOn{false};

namespace {

std::atomic<Tevrol::Tick> g_startTick{0};
std::atomic<std::uint64_t> g_elapsed{0};
std::atomic<int> g_liveLoops{0};
// Depth of loop runs on this thread (a task may run another loop blocking).
thread_local int t_loopRuns = 0;

// A thread blocked in an event wait; lives on that thread's stack while it
// is in the table.
struct Waiter {
  VirtualEventRef event;
  bool timed;
  std::uint64_t deadline;  // elapsed milliseconds
  bool counted;            // a loop thread: it counts busy again when woken
  bool woken;              // guarded by the clock's lock
  bool released;           // guarded by the event's mutex
};

// Lock order: m_lock, then an event's mutex; never the other way.
struct Clock {
  std::mutex m_lock;
  std::condition_variable m_quiet;
  std::vector<Waiter*> m_waiters;
  // Loop threads not blocked in an event wait. Changed under m_lock; read
  // without it only by the advancing thread's short spin.
  std::atomic<int> m_busy{0};

  // With m_lock held.
  void Wake(Waiter* waiter) {
    if (waiter->woken) return;
    waiter->woken = true;
    if (waiter->counted) ++m_busy;
  }
  void Idle() {
    if (m_busy.fetch_sub(1, std::memory_order_release) == 1) m_quiet.notify_all();
  }
};

// Made at the first use, which is Enable (all other users run only when on);
// never destroyed: loops may still wait while the process ends.
Clock& TheClock() {
  static Clock* const s_clock = new Clock;
  return *s_clock;
}

}  // namespace

Tevrol::Tick VirtualTick() {
  return g_startTick.load(std::memory_order_relaxed) +
         static_cast<Tevrol::Tick>(g_elapsed.load(std::memory_order_acquire));
}

std::uint64_t VirtualMicros() {
  return (std::uint64_t{g_startTick.load(std::memory_order_relaxed)} +
          g_elapsed.load(std::memory_order_acquire)) *
         1000u;
}

void VirtualSet(VirtualEventRef const& event) {
  Clock& clock = TheClock();
  std::lock_guard<std::mutex> guard(clock.m_lock);
  pthread_mutex_lock(event.mutex);
  for (Waiter* waiter : clock.m_waiters) {
    if (waiter->event.key == event.key) {
      clock.Wake(waiter);
      waiter->released = true;
    }
  }
  *event.signalled = true;
  pthread_cond_broadcast(event.condition);
  pthread_mutex_unlock(event.mutex);
}

void VirtualWait(VirtualEventRef const& event, bool timed, Tevrol::ULong milliseconds) {
  Clock& clock = TheClock();
  Waiter waiter{event, timed, 0, t_loopRuns > 0, false, false};
  {
    std::lock_guard<std::mutex> guard(clock.m_lock);
    // Looked at under m_lock, which every Set takes too: no Set falls
    // between this look and the entry in the table.
    pthread_mutex_lock(event.mutex);
    const bool signalled = *event.signalled;
    pthread_mutex_unlock(event.mutex);
    if (signalled || (timed && milliseconds == 0)) return;
    if (!timed && !waiter.counted) {
      // Nothing to count and no deadline: a plain wait, which a Set ends.
    } else {
      waiter.deadline = g_elapsed.load(std::memory_order_relaxed) + milliseconds;
      clock.m_waiters.push_back(&waiter);
      if (waiter.counted) clock.Idle();
    }
  }
  pthread_mutex_lock(event.mutex);
  if (!timed && !waiter.counted) {
    while (!*event.signalled) pthread_cond_wait(event.condition, event.mutex);
    pthread_mutex_unlock(event.mutex);
    return;
  }
  while (!waiter.released) pthread_cond_wait(event.condition, event.mutex);
  pthread_mutex_unlock(event.mutex);
  std::lock_guard<std::mutex> guard(clock.m_lock);
  clock.m_waiters.erase(std::find(clock.m_waiters.begin(), clock.m_waiters.end(), &waiter));
}

void VirtualLoopCreated() {
  g_liveLoops.fetch_add(1, std::memory_order_relaxed);
}

void VirtualLoopDestroyed() {
  g_liveLoops.fetch_sub(1, std::memory_order_relaxed);
}

void VirtualLoopThreadOwed() {
  if (!VirtualTimeOn()) return;
  Clock& clock = TheClock();
  std::lock_guard<std::mutex> guard(clock.m_lock);
  ++clock.m_busy;
}

// A thread counts once, however deep it nests loop runs (a task may run
// another loop blocking): only the outermost run counts it busy and idle.
void VirtualLoopRunBegins(bool owed) {
  if (!VirtualTimeOn()) return;
  if (t_loopRuns++ == 0 && !owed) {
    Clock& clock = TheClock();
    std::lock_guard<std::mutex> guard(clock.m_lock);
    ++clock.m_busy;
  }
}

void VirtualLoopRunEnds() {
  if (!VirtualTimeOn()) return;
  if (--t_loopRuns != 0) return;
  Clock& clock = TheClock();
  std::lock_guard<std::mutex> guard(clock.m_lock);
  clock.Idle();
}

}  // namespace detail

namespace Tevrol {
namespace Testing {

bool VirtualClockCore::Enable(Tevrol::Tick startTick) {
  detail::Clock& clock = detail::TheClock();
  std::lock_guard<std::mutex> guard(clock.m_lock);
  if (detail::VirtualTimeOn() || detail::g_liveLoops.load() != 0) return false;
  detail::g_startTick.store(startTick, std::memory_order_relaxed);
  detail::g_elapsed.store(0, std::memory_order_relaxed);
  detail::g_virtualTimeOn.store(true, std::memory_order_seq_cst);
  return true;
}

bool VirtualClockCore::IsOn() {
  return detail::VirtualTimeOn();
}

std::uint64_t VirtualClockCore::Elapsed() {
  return detail::g_elapsed.load(std::memory_order_acquire);
}

Tevrol::Tick VirtualClockCore::Now() {
  return detail::VirtualTick();
}

bool VirtualClockCore::OnLoopThread() {
  return detail::t_loopRuns > 0;
}

bool VirtualClockCore::EarliestDeadline(std::uint64_t& elapsed) {
  if (!IsOn()) return false;
  detail::Clock& clock = detail::TheClock();
  std::lock_guard<std::mutex> guard(clock.m_lock);
  bool found = false;
  for (detail::Waiter const* waiter : clock.m_waiters) {
    if (waiter->timed && !waiter->woken && (!found || waiter->deadline < elapsed)) {
      elapsed = waiter->deadline;
      found = true;
    }
  }
  return found;
}

void VirtualClockCore::MoveTo(std::uint64_t elapsed) {
  if (!IsOn()) return;
  detail::Clock& clock = detail::TheClock();
  std::lock_guard<std::mutex> guard(clock.m_lock);
  if (elapsed > detail::g_elapsed.load(std::memory_order_relaxed)) {
    detail::g_elapsed.store(elapsed, std::memory_order_release);
  }
  const std::uint64_t now = detail::g_elapsed.load(std::memory_order_relaxed);
  for (detail::Waiter* waiter : clock.m_waiters) {
    if (waiter->timed && !waiter->woken && waiter->deadline <= now) {
      clock.Wake(waiter);
      pthread_mutex_lock(waiter->event.mutex);
      waiter->released = true;
      pthread_cond_broadcast(waiter->event.condition);
      pthread_mutex_unlock(waiter->event.mutex);
    }
  }
}

bool VirtualClockCore::WaitQuiet(Tevrol::ULong realMilliseconds) {
  if (!IsOn()) return false;
  detail::Clock& clock = detail::TheClock();
  // A woken loop is usually done within microseconds: yielding to it for a
  // moment saves the advancing thread a sleep and a wake-up on every step.
  for (int spin = 0; spin < 16; ++spin) {
    if (clock.m_busy.load(std::memory_order_acquire) == 0) break;
    std::this_thread::yield();
  }
  std::unique_lock<std::mutex> guard(clock.m_lock);
  return clock.m_quiet.wait_for(guard, std::chrono::milliseconds(realMilliseconds),
                                [&clock] { return clock.m_busy.load() == 0; });
}

}  // namespace Testing
}  // namespace Tevrol
