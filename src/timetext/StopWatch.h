#ifndef TEVROL_TIMETEXT_STOPWATCH_H
#define TEVROL_TIMETEXT_STOPWATCH_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Measures elapsed milliseconds on the library's tick
// (PDStdOperations::GetTickCount). Starts when constructed. No lock: an
// object belongs to one thread at a time.
class TEVROL_EXPORT StopWatch {
 public:
  StopWatch();
  virtual ~StopWatch();

  // Starts again from now.
  void Reset();
  // Milliseconds since the last start, modulo 2^32: right across one wrap of
  // the tick, wrong only after more than about 49.7 days.
  Tevrol::ULong GetTimeElapsed() const;

 private:
  Tevrol::Tick m_startTick;
};

#endif
