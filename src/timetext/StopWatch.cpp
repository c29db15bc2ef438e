#include "timetext/StopWatch.h"

#include "threads/PDStdOperations.h"

StopWatch::StopWatch() : m_startTick(PDStdOperations::GetTickCount()) {}

StopWatch::~StopWatch() = default;

void StopWatch::Reset() {
  m_startTick = PDStdOperations::GetTickCount();
}

Tevrol::ULong StopWatch::GetTimeElapsed() const {
  // A difference, not a comparison: unsigned subtraction is the wrap-safe elapsed time.
  return PDStdOperations::GetTickCount() - m_startTick;
}
