#include "timetext/StopWatch.h"

#include <gtest/gtest.h>

#include "threads/PDStdOperations.h"
#include "threads/TickOffsetForTesting.h"

namespace {

TEST(StopWatchTest, ElapsedTimeHoldsAcrossTheWrap) {
  const Tevrol::Tick offset = 0xFFFFFFF0u - PDStdOperations::GetTickCount();
  detail::SetTickOffsetForTesting(offset);
  StopWatch watch;                               // starts near 0xFFFFFFF0
  detail::SetTickOffsetForTesting(offset + 21);  // the tick now stands just past 2^32
  EXPECT_GE(watch.GetTimeElapsed(), 21u);
  EXPECT_LT(watch.GetTimeElapsed(), 21u + 10000u);
  detail::SetTickOffsetForTesting(offset + 100000);
  watch.Reset();  // starts again from the tick of now
  EXPECT_LT(watch.GetTimeElapsed(), 10000u);
  detail::SetTickOffsetForTesting(0);  // only EXPECTs above: the end is always reached
}

}  // namespace
