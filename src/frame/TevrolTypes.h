#ifndef TEVROL_FRAME_TEVROLTYPES_H
#define TEVROL_FRAME_TEVROLTYPES_H

#include <cstdint>

// Widths of the interfaces, the same on every platform:
// - a `long` of the interfaces is 32 bits signed, an `unsigned long` 32 bits
//   unsigned (the target is 32-bit ARM; hosts may have 64-bit longs);
// - a word that carries an address (task ids, name registry keys) or an OS
//   thread id is pointer-wide, so that a host pthread_t fits;
// - ticks are unsigned 32-bit milliseconds, compared only across the wrap
//   (threads/Tick.h).
// On ARM std::uint32_t and std::uintptr_t are the same type: never overload
// or specialise on both.
namespace Tevrol {
using Long = std::int32_t;
using ULong = std::uint32_t;
using Word = std::uintptr_t;
using ThreadId = std::uintptr_t;
using Tick = std::uint32_t;
}  // namespace Tevrol

#endif
