#include "threads/SetResetEvent.h"

#include <gtest/gtest.h>

#include <thread>

#include "threads/PDStdOperations.h"

namespace {

int MillisecondsSince(Tevrol::Tick start) {
  return static_cast<int>(PDStdOperations::GetTickCount() - start);
}

TEST(SetResetEventTest, StaysSetUntilResetDoesNotCountAndWakesAcrossThreads) {
  detail::SetResetEvent event;
  event.WaitFor(0);  // clear: returns once the clock has moved on
  event.Set();
  event.Set();
  event.Wait();
  event.Wait();
  Tevrol::Tick start = PDStdOperations::GetTickCount();
  event.WaitFor(60000);
  EXPECT_LT(MillisecondsSince(start), 30000);

  event.Reset();  // one Reset clears two Sets
  start = PDStdOperations::GetTickCount();
  event.WaitFor(100);
  EXPECT_GE(MillisecondsSince(start), 99);  // ticks are whole milliseconds

  // A Set from another thread ends Wait and WaitFor.
  std::thread setter([&] { event.Set(); });
  event.Wait();
  setter.join();
  event.Reset();
  start = PDStdOperations::GetTickCount();
  std::thread later([&] { event.Set(); });
  event.WaitFor(60000);
  later.join();
  EXPECT_LT(MillisecondsSince(start), 30000);
}

TEST(SetResetEventTest, DeadlineCarriesNanosecondsIntoSeconds) {
  const struct {
    time_t sec;
    long nsec;
    Tevrol::ULong ms;
    time_t wantSec;
    long wantNsec;
  } cases[] = {
      {10, 600000000L, 1500, 12, 100000000L},   {10, 0, 0, 10, 0},
      {10, 999999999L, 1, 11, 999999L},         {10, 400000000L, 600, 11, 0},
      {0, 0, 4294967295u, 4294967, 295000000L},
  };
  for (auto const& c : cases) {
    const timespec deadline = detail::DeadlineAfter({c.sec, c.nsec}, c.ms);
    EXPECT_EQ(deadline.tv_sec, c.wantSec) << c.ms << " ms after " << c.sec << "." << c.nsec;
    EXPECT_EQ(deadline.tv_nsec, c.wantNsec) << c.ms << " ms after " << c.sec << "." << c.nsec;
  }
}

}  // namespace
