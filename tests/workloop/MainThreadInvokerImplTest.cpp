#include "workloop/MainThreadInvokerImpl.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "frame/Accessors.h"
#include "support/StressScale.h"
#include "support/Waiting.h"
#include "threads/ThreadHelper.h"

namespace {

using Tevrol::ULong;

// One callback as seen by an invokant: 'I' for Invoked, 'D' for Discarded.
struct Call {
  char kind;
  Invokant const* who;
  ULong p1, p2 = 0, p3 = 0;
  void* data = nullptr;
  Tevrol::ThreadId thread = 0;
  bool operator==(Call const& o) const {
    return kind == o.kind && who == o.who && p1 == o.p1 && p2 == o.p2 && p3 == o.p3 &&
           data == o.data;
  }
};

class CallLog {
 public:
  void Add(Call call) {
    if (m_inside.fetch_add(1) != 0) m_overlaps.fetch_add(1);
    {
      std::lock_guard<std::mutex> guard(m_lock);
      m_calls.push_back(call);
    }
    m_changed.notify_all();
    m_inside.fetch_sub(1);
  }
  std::vector<Call> Calls() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_calls;
  }
  bool WaitForCount(std::size_t count) {
    std::unique_lock<std::mutex> guard(m_lock);
    return WaitUntil(guard, m_changed, [&] { return m_calls.size() >= count; });
  }
  std::atomic<int> m_overlaps{0};

 private:
  std::atomic<int> m_inside{0};
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<Call> m_calls;
};

// Logs its callbacks; `onInvoked` runs inside Invoked, after the entry.
class Recorder : public Invokant {
 public:
  explicit Recorder(CallLog& log, std::function<void(ULong)> onInvoked = {})
      : m_log(log), m_onInvoked(std::move(onInvoked)) {}
  void Invoked(ULong p1, ULong p2, ULong p3, void* data) override {
    m_log.Add({'I', this, p1, p2, p3, data, ThreadHelper::GetCurrentThreadID()});
    if (m_onInvoked) m_onInvoked(p1);
  }
  void Discarded(ULong p1, ULong p2, ULong p3, void* data) override {
    m_log.Add({'D', this, p1, p2, p3, data, ThreadHelper::GetCurrentThreadID()});
  }

 private:
  CallLog& m_log;
  std::function<void(ULong)> m_onInvoked;
};

TEST(MainThreadInvokerImplTest, InvocationsFromSeveralThreadsArriveInInvokeOrderOnOneThread) {
  constexpr int kThreads = 4;
  constexpr ULong kEach = 50;
  CallLog log;
  Recorder recorders[2] = {Recorder(log), Recorder(log)};
  int cookie = 0;
  std::mutex order;  // makes the Invoke calls' order the order of `next`
  ULong next = 0;
  {
    MainThreadInvokerImpl invoker;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&] {
        for (ULong i = 0; i < kEach; ++i) {
          std::lock_guard<std::mutex> guard(order);
          const ULong seq = next++;
          invoker.Invoke(&recorders[seq % 2], seq, seq * 7u, ~seq,
                         seq % 3 == 0 ? nullptr : &cookie);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    ASSERT_TRUE(log.WaitForCount(2 * kThreads * kEach));
  }
  // Each Invoked is followed by its Discarded, all on the loop's one thread.
  std::vector<Call> expected;
  for (ULong seq = 0; seq < kThreads * kEach; ++seq) {
    Call call{'I', &recorders[seq % 2], seq, seq * 7u, ~seq, seq % 3 == 0 ? nullptr : &cookie};
    expected.push_back(call);
    call.kind = 'D';
    expected.push_back(call);
  }
  const std::vector<Call> calls = log.Calls();
  EXPECT_EQ(calls, expected);
  EXPECT_NE(calls.at(0).thread, ThreadHelper::GetCurrentThreadID());
  for (Call const& call : calls) EXPECT_EQ(call.thread, calls[0].thread);
  EXPECT_EQ(log.m_overlaps.load(), 0);
}

// One scripted run: g's Invoked holds the loop until released, so the
// following calls queue up behind it; from within it, g invokes `late` and
// removes b.
TEST(MainThreadInvokerImplTest, RemoveCancelsOnlyQueuedCallsAndCallbackInvokesComeLast) {
  CallLog log;
  std::promise<void> entered, release;
  MainThreadInvokerImpl* invoker = new MainThreadInvokerImpl;
  Recorder a(log), b(log), c(log), idle(log), late(log);
  Recorder g(log, [&](ULong) {
    entered.set_value();
    release.get_future().wait();
    invoker->Invoke(&late, 9, 0, 0, nullptr);
    invoker->RemoveInvokant(&b);
  });
  invoker->Invoke(&g, 0, 0, 0, nullptr);
  entered.get_future().wait();
  for (ULong i = 1; i <= 4; ++i) invoker->Invoke(i % 2 ? &a : &c, i, 0, 0, nullptr);
  invoker->Invoke(&b, 5, 0, 0, nullptr);
  invoker->RemoveInvokant(&a);     // both of a's, not c's
  invoker->RemoveInvokant(&idle);  // nothing pending: nothing happens
  invoker->RemoveInvokant(&g);     // already running: not stopped
  release.set_value();
  ASSERT_TRUE(log.WaitForCount(11));
  delete invoker;
  const auto I = [](Invokant* who, ULong p1) { return Call{'I', who, p1}; };
  const auto D = [](Invokant* who, ULong p1) { return Call{'D', who, p1}; };
  EXPECT_EQ(log.Calls(),
            std::vector<Call>({I(&g, 0), D(&g, 0), D(&a, 1), I(&c, 2), D(&c, 2), D(&a, 3), I(&c, 4),
                               D(&c, 4), D(&b, 5), I(&late, 9), D(&late, 9)}));
  EXPECT_EQ(log.m_overlaps.load(), 0);
}

// The child's invokant: outlives the invoker singleton, being built first.
// Checks that invocations 0..kQueued-1 arrive in order; the last Discarded
// ends the process with 42 when they all did, else with 1.
class ExitProbe : public Invokant {
 public:
  static constexpr ULong kQueued = 5;
  void Invoked(ULong p1, ULong, ULong, void*) override {
    if (p1 == 0) ThreadHelper::Sleep(200);  // the slow one: main calls exit meanwhile
    if (p1 != m_next++) m_ok = false;
  }
  void Discarded(ULong p1, ULong, ULong, void*) override {
    if (p1 == kQueued - 1) _exit(m_ok && m_next == kQueued ? 42 : 1);
  }

 private:
  ULong m_next = 0;
  bool m_ok = true;
};
ExitProbe g_exitProbe;

TEST(MainThreadInvokerDeathTest, PendingInvocationsRunAtProcessExit) {
  EXPECT_EXIT(
      {
        MainThreadInvoker* invoker = MainThreadInvoker_GetInstance();
        EXPECT_EQ(invoker, MainThreadInvoker_GetInstance());
        for (ULong i = 0; i < ExitProbe::kQueued; ++i)
          invoker->Invoke(&g_exitProbe, i, 0, 0, nullptr);
        std::exit(0);  // returns only through the last Discarded's _exit(42)
      },
      ::testing::ExitedWithCode(42), "");
}

// exit within Invoked: exit does not wait for the thread it runs on, so the
// process ends with exit's code; the invocation behind it never runs.
// Set once the child has queued both calls: its main thread must not use the
// invoker while exit() destroys it.
std::atomic<bool> g_bothQueued{false};

class ExitingInvokant : public Invokant {
 public:
  void Invoked(ULong p1, ULong, ULong, void*) override {
    while (!g_bothQueued.load()) ThreadHelper::Sleep(1);
    if (p1 == 0) std::exit(7);
    _exit(99);
  }
  void Discarded(ULong, ULong, ULong, void*) override { _exit(98); }
};
ExitingInvokant g_exitingInvokant;

TEST(MainThreadInvokerDeathTest, ExitWithinInvokedEndsTheProcessWithoutHanging) {
  EXPECT_EXIT(
      {
        MainThreadInvoker* invoker = MainThreadInvoker_GetInstance();
        invoker->Invoke(&g_exitingInvokant, 0, 0, 0, nullptr);
        invoker->Invoke(&g_exitingInvokant, 1, 0, 0, nullptr);
        g_bothQueued.store(true);
        for (;;) ThreadHelper::Sleep(1000);
      },
      ::testing::ExitedWithCode(7), "");
}

// Threads invoke and remove while callbacks run: every accepted invocation
// gets exactly one Discarded, after at most one Invoked.
TEST(MainThreadInvokerImplTest, StressInvokeAndRemoveWhileCallbacksRun) {
  constexpr ULong kThreads = 4;
  const ULong kEach = 4000 / kStressScale;
  CallLog log;
  std::vector<std::unique_ptr<Recorder>> recorders;
  for (ULong t = 0; t < kThreads; ++t) recorders.push_back(std::make_unique<Recorder>(log));
  {
    MainThreadInvokerImpl invoker;
    std::vector<std::thread> threads;
    for (ULong t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        std::minstd_rand random(static_cast<unsigned>(t) + 1);
        for (ULong i = 0; i < kEach; ++i) {
          invoker.Invoke(recorders[t].get(), t * kEach + i, 0, 0, nullptr);
          if (random() % 8 == 0) invoker.RemoveInvokant(recorders[random() % kThreads].get());
        }
      });
    }
    for (auto& thread : threads) thread.join();
  }
  std::vector<int> seen(kThreads * kEach, 0);  // 1 invoked, 2 discarded
  for (Call const& call : log.Calls()) {
    int& state = seen[call.p1];
    ASSERT_LT(state, call.kind == 'I' ? 1 : 2) << call.kind << call.p1;
    state = call.kind == 'I' ? 1 : 2;
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 2), static_cast<long>(seen.size()));
  EXPECT_EQ(log.m_overlaps.load(), 0);
}

}  // namespace
