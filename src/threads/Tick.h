#ifndef TEVROL_THREADS_TICK_H
#define TEVROL_THREADS_TICK_H

#include <cstdint>

#include "frame/TevrolTypes.h"

namespace detail {

// The one comparison of ticks: the difference modulo 2^32 read as a signed
// 32-bit number. Positive when `a` lies after `b`. Deadlines stay comparable
// across the wrap as long as they lie within 2^31 ms of each other; at
// exactly 2^31 apart neither is later. Not a strict weak ordering over
// arbitrary values: never hand it to std::sort or an ordered container.
constexpr std::int32_t TickDifference(Tevrol::Tick a, Tevrol::Tick b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a - b));
}

// True exactly when `a` is later than `b`.
constexpr bool TickIsLater(Tevrol::Tick a, Tevrol::Tick b) {
  return TickDifference(a, b) > 0;
}

}  // namespace detail

#endif
