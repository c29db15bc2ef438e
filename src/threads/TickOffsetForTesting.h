#ifndef TEVROL_THREADS_TICKOFFSETFORTESTING_H
#define TEVROL_THREADS_TICKOFFSETFORTESTING_H

#include "frame/TevrolTypes.h"

namespace detail {

// Test seam, never exported: adds `offset` to every tick the library reads,
// so a test can start the count just below 2^32 and run across the wrap.
// 0 unless a test sets it; tests restore it when done.
void SetTickOffsetForTesting(Tevrol::Tick offset);

}  // namespace detail

#endif
