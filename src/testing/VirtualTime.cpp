#include "testing/VirtualTime.h"

#include <atomic>
#include <mutex>

#include "threads/VirtualClock.h"  // exported primitives only

namespace Tevrol {
namespace Testing {

namespace {

using Core = VirtualClockCore;

// Tick comparisons hold within 2^31 ms: no step goes further.
constexpr std::uint64_t kMaxStep = (std::uint64_t{1} << 31) - 1;

std::atomic<Tevrol::ULong> g_busyTimeout{2000};

// One advance at a time; a second caller waits for the first.
std::mutex& AdvanceLock() {
  static std::mutex* const s_lock = new std::mutex;
  return *s_lock;
}

VirtualTime::Result Quiet() {
  return Core::WaitQuiet(g_busyTimeout.load()) ? VirtualTime::Result::Done
                                               : VirtualTime::Result::StillBusy;
}

// From deadline to deadline up to `target`, waiting for the loops after each.
VirtualTime::Result RunTo(std::uint64_t target) {
  VirtualTime::Result result = Quiet();
  if (result != VirtualTime::Result::Done) return result;
  for (;;) {
    const std::uint64_t now = Core::Elapsed();
    std::uint64_t next = 0;
    const bool pending = Core::EarliestDeadline(next) && next <= target;
    std::uint64_t step = pending ? next : target;
    if (step > now + kMaxStep) step = now + kMaxStep;
    Core::MoveTo(step);
    result = Quiet();
    if (result != VirtualTime::Result::Done) return result;
    if (!pending && step == target) return result;
  }
}

bool Refuse() {
  return !Core::IsOn() || Core::OnLoopThread();
}

}  // namespace

bool VirtualTime::Enable(Tevrol::Tick startTick) {
  return Core::Enable(startTick);
}

bool VirtualTime::IsEnabled() {
  return Core::IsOn();
}

Tevrol::Tick VirtualTime::Now() {
  return Core::Now();
}

std::uint64_t VirtualTime::Elapsed() {
  return Core::Elapsed();
}

VirtualTime::Result VirtualTime::Advance(std::uint64_t milliseconds) {
  if (Refuse()) return Result::Refused;
  std::lock_guard<std::mutex> guard(AdvanceLock());
  return RunTo(Core::Elapsed() + milliseconds);
}

VirtualTime::Result VirtualTime::RunUntilIdle() {
  if (Refuse()) return Result::Refused;
  std::lock_guard<std::mutex> guard(AdvanceLock());
  return Quiet();
}

VirtualTime::Result VirtualTime::FastForward(std::uint64_t limitMilliseconds) {
  if (Refuse()) return Result::Refused;
  std::lock_guard<std::mutex> guard(AdvanceLock());
  const std::uint64_t limit = Core::Elapsed() + limitMilliseconds;
  for (;;) {
    const Result result = Quiet();
    if (result != Result::Done) return result;
    std::uint64_t next = 0;
    if (!Core::EarliestDeadline(next)) return Result::Done;
    if (next > limit) {
      const Result last = RunTo(limit);
      return last == Result::Done ? Result::LimitHit : last;
    }
    const Result step = RunTo(next);
    if (step != Result::Done) return step;
  }
}

bool VirtualTime::NextDeadline(Tevrol::Tick& tick) {
  std::uint64_t next = 0;
  if (!Core::EarliestDeadline(next)) return false;
  tick = Core::Now() + static_cast<Tevrol::Tick>(next - Core::Elapsed());
  return true;
}

void VirtualTime::SetBusyTimeout(Tevrol::ULong realMilliseconds) {
  g_busyTimeout.store(realMilliseconds);
}

}  // namespace Testing
}  // namespace Tevrol
