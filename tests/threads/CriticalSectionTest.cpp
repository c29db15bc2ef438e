#include "threads/CriticalSection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "threads/ThreadHelper.h"

TEST(CriticalSectionTest, OwnerLocksAgainAndOthersWaitForTheLastUnlock) {
  CriticalSection lock;
  lock.Lock();
  lock.Lock();  // recursive: must not block
  std::atomic<bool> acquired{false};
  std::thread other([&] {
    lock.Lock();
    acquired.store(true);
    lock.Unlock();
  });
  lock.Unlock();
  ThreadHelper::Sleep(50);
  EXPECT_FALSE(acquired.load()) << "one Unlock of two released the lock";
  lock.Unlock();
  other.join();
  EXPECT_TRUE(acquired.load());
}

TEST(CriticalSectionTest, GuardsACounterAcrossThreads) {
  CriticalSection lock;
  long counter = 0;
  std::thread threads[4];
  for (auto& t : threads) {
    t = std::thread([&] {
      for (int i = 0; i < 10000; ++i) {
        lock.Lock();
        lock.Lock();
        ++counter;
        lock.Unlock();
        lock.Unlock();
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 40000);
}
