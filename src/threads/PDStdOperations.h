#ifndef TEVROL_THREADS_PDSTDOPERATIONS_H
#define TEVROL_THREADS_PDSTDOPERATIONS_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Platform layer of the tick.
class TEVROL_EXPORT PDStdOperations {
 public:
  // Milliseconds on CLOCK_MONOTONIC, reduced to 32 bits: wraps to 0 after
  // about 49.7 days. Compare ticks only with detail::TickIsLater.
  static Tevrol::Tick GetTickCount();
};

#endif
