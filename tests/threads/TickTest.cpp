#include "threads/Tick.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "threads/PDStdOperations.h"
#include "threads/ThreadHelper.h"
#include "threads/TickOffsetForTesting.h"

namespace {

TEST(TickTest, ComparisonHoldsAcrossTheWrap) {
  struct Case {
    Tevrol::Tick a;
    Tevrol::Tick b;
    std::int32_t difference;
    bool aIsLater;
  };
  const Case cases[] = {
      {5, 0xFFFFFFF0u, 21, true},
      {0xFFFFFFF0u, 5, -21, false},
      {7, 7, 0, false},
      {0, 0xFFFFFFFFu, 1, true},
      {0x7FFFFFFFu, 0, 0x7FFFFFFF, true},  // 2^31 - 1 apart: still later
      {0x80000000u, 0, INT32_MIN, false},  // 2^31 apart: neither is later
      {0, 0x80000000u, INT32_MIN, false},
      {100, 200, -100, false},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(detail::TickDifference(c.a, c.b), c.difference) << c.a << " - " << c.b;
    EXPECT_EQ(detail::TickIsLater(c.a, c.b), c.aIsLater) << c.a << " - " << c.b;
  }
}

struct TickOffsetTest : ::testing::Test {
  void TearDown() override { detail::SetTickOffsetForTesting(0); }
};

TEST_F(TickOffsetTest, EveryTickSourceSeesTheOffsetAndWrapsWithIt) {
  const Tevrol::Tick plain = PDStdOperations::GetTickCount();
  // Put the count 100 ms before the wrap.
  detail::SetTickOffsetForTesting(0u - plain - 100u);
  const Tevrol::Tick beforeWrap = ThreadHelper::GetTickCount();
  EXPECT_GE(beforeWrap, 0xFFFFFF00u);
  ThreadHelper::Sleep(200);
  const Tevrol::Tick afterWrap = PDStdOperations::GetTickCount();
  EXPECT_LT(afterWrap, 0x10000u) << "the count did not wrap";
  EXPECT_TRUE(detail::TickIsLater(afterWrap, beforeWrap));
  EXPECT_GE(detail::TickDifference(afterWrap, beforeWrap), 199);
}

TEST(ThreadHelperTest, SleepLastsItsTimeAndMultipliesInThirtyTwoBits) {
  Tevrol::Tick start = ThreadHelper::GetTickCount();
  ThreadHelper::Sleep(1200);  // more than a million microseconds
  EXPECT_GE(detail::TickDifference(ThreadHelper::GetTickCount(), start), 1199);
  // 4294968 ms is 4294968000 us, which wraps to 704 us: a short sleep, not 71 minutes.
  start = ThreadHelper::GetTickCount();
  ThreadHelper::Sleep(4294968u);
  EXPECT_LT(detail::TickDifference(ThreadHelper::GetTickCount(), start), 30000);
}

TEST(ThreadHelperTest, ThreadIdsTellThreadsApart) {
  const Tevrol::ThreadId mine = ThreadHelper::GetCurrentThreadID();
  EXPECT_NE(mine, 0u);
  EXPECT_EQ(mine, ThreadHelper::GetCurrentThreadID());
  Tevrol::ThreadId other = 0;
  std::thread([&] { other = ThreadHelper::GetCurrentThreadID(); }).join();
  EXPECT_NE(other, mine);
}

}  // namespace
