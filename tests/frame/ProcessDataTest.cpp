#include "frame/ProcessData.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "frame/Accessors.h"
#include "frame/OSDeviceInvestigator.h"
#include "frame/ProcessDataFactory.h"

TEST(ProcessDataTest, DeviceIsAlwaysSixAndTheStaticStaysZero) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(OSDeviceInvestigator::InvestigateDevice(), 6);
  }
  ProcessData data;
  EXPECT_TRUE(data.Initialize());
  EXPECT_TRUE(data.Initialize());
  EXPECT_TRUE(data.IsMainThread());
  EXPECT_EQ(OSDeviceInvestigator::m_device, 0);
}

TEST(ProcessDataTest, MainThreadIsTheConstructingThread) {
  ProcessData data;
  bool onOtherThread = true;
  std::thread([&] { onOtherThread = data.IsMainThread(); }).join();
  EXPECT_FALSE(onOtherThread);
  EXPECT_TRUE(data.IsMainThread());
}

// The factory's main thread is whichever thread calls the accessor first. In
// a fresh process, a worker makes the first call while several others race
// for it: every caller gets the same object, and exactly one thread of the
// racers is its main thread.
TEST(ProcessDataDeathTest, ConcurrentFirstCallsConstructOnceOnTheFirstCaller) {
  EXPECT_EXIT(
      {
        constexpr int kThreads = 8;
        std::atomic<int> ready{0};
        std::atomic<bool> go{false};
        std::vector<ProcessDataFactory*> seen(kThreads, nullptr);
        std::vector<int> isMain(kThreads, 0);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
          threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (!go.load()) {
            }
            seen[i] = ProcessDataFactory_GetInstance();
            isMain[i] = seen[i]->GetProcessData()->IsMainThread() ? 1 : 0;
          });
        }
        while (ready.load() != kThreads) {
        }
        go.store(true);
        for (auto& t : threads) {
          t.join();
        }
        int mains = 0;
        for (int i = 0; i < kThreads; ++i) {
          if (seen[i] != seen[0] || seen[i] == nullptr) std::exit(2);
          mains += isMain[i];
        }
        if (mains != 1) std::exit(3);
        // The process's own thread made no first call, so it is not the main thread.
        if (ProcessDataFactory_GetInstance()->GetProcessData()->IsMainThread()) std::exit(4);
        if (ProcessDataFactory_GetInstance() != seen[0]) std::exit(5);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}
