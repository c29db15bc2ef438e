#include "timetext/StopWatch.h"

#include <gtest/gtest.h>

#include "threads/PDStdOperations.h"
#include "threads/TickOffsetForTesting.h"

namespace {

struct StopWatchTest : testing::Test {
  void TearDown() override { detail::SetTickOffsetForTesting(0); }
};

TEST_F(StopWatchTest, ElapsedTimeHoldsAcrossTheWrap) {
  const Tevrol::Tick offset = 0xFFFFFFF0u - PDStdOperations::GetTickCount();
  detail::SetTickOffsetForTesting(offset);
  StopWatch watch;
  EXPECT_LT(watch.GetTimeElapsed(), 1000u);
  detail::SetTickOffsetForTesting(offset + 21);  // the tick now stands just past 2^32
  EXPECT_LT(PDStdOperations::GetTickCount(), 0x10000000u);
  const Tevrol::ULong elapsed = watch.GetTimeElapsed();
  EXPECT_GE(elapsed, 21u);
  EXPECT_LT(elapsed, 21u + 10000u);
  watch.Reset();
  EXPECT_LT(watch.GetTimeElapsed(), 1000u);
}

}  // namespace
