// Platform layer of the tick: the only place that turns CLOCK_MONOTONIC into ticks.
#include "threads/PDStdOperations.h"

#include <atomic>
#include <cstdint>
#include <ctime>

#include "threads/TickOffsetForTesting.h"
#include "threads/VirtualClock.h"

namespace {
std::atomic<Tevrol::Tick> tickOffsetForTesting{0};
}

void detail::SetTickOffsetForTesting(Tevrol::Tick offset) {
  tickOffsetForTesting.store(offset, std::memory_order_relaxed);
}

Tevrol::Tick PDStdOperations::GetTickCount() {
  if (detail::VirtualTimeOn()) {
    return detail::VirtualTick();
  }
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  // Unsigned 64-bit arithmetic: where time_t is 32 bits, tv_sec * 1000 would
  // overflow a signed type. The wrap is the loss of the high bits.
  const std::uint64_t ms = static_cast<std::uint64_t>(ts.tv_sec) * 1000u +
                           static_cast<std::uint64_t>(ts.tv_nsec) / 1000000u;
  return static_cast<Tevrol::Tick>(ms) + tickOffsetForTesting.load(std::memory_order_relaxed);
}
