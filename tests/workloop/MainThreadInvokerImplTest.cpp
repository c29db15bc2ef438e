#include "workloop/MainThreadInvokerImpl.h"

#include <gtest/gtest.h>
#include <unistd.h>

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

#include "TestSupport.h"
#include "frame/Accessors.h"
#include "threads/ThreadHelper.h"

namespace {

using Tevrol::ULong;

// One callback as seen by an invokant: 'I' for Invoked, 'D' for Discarded.
struct Call {
  char kind;
  Invokant const* who;
  ULong p1, p2, p3;
  void* data;
  Tevrol::ThreadId thread;
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
  // At most 30 s, to turn a hang into a failure.
  bool WaitForCount(std::size_t count) {
    std::unique_lock<std::mutex> guard(m_lock);
    return m_changed.wait_for(guard, std::chrono::seconds(30),
                              [&] { return m_calls.size() >= count; });
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

Call I(Invokant const* who, ULong p1) {
  return {'I', who, p1, 0, 0, nullptr, 0};
}
Call D(Invokant const* who, ULong p1) {
  return {'D', who, p1, 0, 0, nullptr, 0};
}

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
      threads.emplace_back([&, t] {
        for (ULong i = 0; i < kEach; ++i) {
          std::lock_guard<std::mutex> guard(order);
          const ULong seq = next++;
          invoker.Invoke(&recorders[seq % 2], seq, static_cast<ULong>(t), ~seq,
                         seq % 3 == 0 ? nullptr : &cookie);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    ASSERT_TRUE(log.WaitForCount(2 * kThreads * kEach));
  }
  const std::vector<Call> calls = log.Calls();
  ASSERT_EQ(calls.size(), 2 * kThreads * kEach);
  const Tevrol::ThreadId loopThread = calls[0].thread;
  EXPECT_NE(loopThread, ThreadHelper::GetCurrentThreadID());
  for (std::size_t i = 0; i < calls.size(); i += 2) {
    const ULong seq = i / 2;
    SCOPED_TRACE(seq);
    Call const& invoked = calls[i];
    EXPECT_EQ(invoked.kind, 'I');
    EXPECT_EQ(invoked.who, &recorders[seq % 2]);
    EXPECT_EQ(invoked.p1, seq);
    EXPECT_EQ(invoked.p3, ~seq);
    EXPECT_EQ(invoked.data, seq % 3 == 0 ? nullptr : &cookie);
    Call discarded = invoked;
    discarded.kind = 'D';
    EXPECT_EQ(calls[i + 1], discarded);
    EXPECT_EQ(invoked.thread, loopThread);
    EXPECT_EQ(calls[i + 1].thread, loopThread);
  }
  EXPECT_EQ(log.m_overlaps.load(), 0);
}

// Runs `gate`'s Invoked until the test releases it, so that the following
// invocations queue up behind it.
struct Gate {
  std::promise<void> entered;
  std::promise<void> release;
  std::shared_future<void> released{release.get_future().share()};
  void Hold() {
    entered.set_value();
    released.wait();
  }
};

TEST(MainThreadInvokerImplTest, RemoveInvokantCancelsOnlyItsQueuedCallsWhichStillGetDiscarded) {
  CallLog log;
  Gate gate;
  Recorder g(log, [&](ULong) { gate.Hold(); });
  Recorder a(log), b(log), idle(log);
  {
    MainThreadInvokerImpl invoker;
    invoker.Invoke(&g, 0, 0, 0, nullptr);
    gate.entered.get_future().wait();
    invoker.Invoke(&a, 1, 0, 0, nullptr);
    invoker.Invoke(&b, 2, 0, 0, nullptr);
    invoker.Invoke(&a, 3, 0, 0, nullptr);
    invoker.Invoke(&b, 4, 0, 0, nullptr);
    invoker.RemoveInvokant(&a);
    invoker.RemoveInvokant(&idle);  // nothing pending: nothing happens
    invoker.RemoveInvokant(&g);     // already running: not stopped
    gate.release.set_value();
    // The destructor waits until the queue has drained.
  }
  EXPECT_EQ(log.Calls(), std::vector<Call>({I(&g, 0), D(&g, 0), D(&a, 1), I(&b, 2), D(&b, 2),
                                            D(&a, 3), I(&b, 4), D(&b, 4)}));
}

TEST(MainThreadInvokerImplTest, CallsFromWithinACallbackComeAfterWhatWasQueued) {
  CallLog log;
  Gate gate;
  MainThreadInvokerImpl invoker;
  Recorder a(log), b(log), late(log);
  Recorder g(log, [&](ULong) {
    gate.Hold();
    invoker.Invoke(&late, 9, 0, 0, nullptr);
    invoker.RemoveInvokant(&b);
  });
  invoker.Invoke(&g, 0, 0, 0, nullptr);
  gate.entered.get_future().wait();
  invoker.Invoke(&a, 1, 0, 0, nullptr);
  invoker.Invoke(&b, 2, 0, 0, nullptr);
  gate.release.set_value();
  ASSERT_TRUE(log.WaitForCount(7));
  EXPECT_EQ(log.Calls(), std::vector<Call>({I(&g, 0), D(&g, 0), I(&a, 1), D(&a, 1), D(&b, 2),
                                            I(&late, 9), D(&late, 9)}));
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

TEST(MainThreadInvokerImplTest, PendingInvocationsRunAtProcessExit) {
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
class ExitingInvokant : public Invokant {
 public:
  void Invoked(ULong p1, ULong, ULong, void*) override {
    if (p1 == 0) std::exit(7);
    _exit(99);
  }
  void Discarded(ULong, ULong, ULong, void*) override { _exit(98); }
};
ExitingInvokant g_exitingInvokant;

TEST(MainThreadInvokerImplTest, ExitWithinInvokedEndsTheProcessWithoutHanging) {
  EXPECT_EXIT(
      {
        MainThreadInvoker* invoker = MainThreadInvoker_GetInstance();
        invoker->Invoke(&g_exitingInvokant, 0, 0, 0, nullptr);
        invoker->Invoke(&g_exitingInvokant, 1, 0, 0, nullptr);
        for (;;) ThreadHelper::Sleep(1000);
      },
      ::testing::ExitedWithCode(7), "");
}

// Threads invoke and remove while callbacks run: every accepted invocation
// gets exactly one Discarded and at most one Invoked before it, and no two
// callbacks overlap.
TEST(MainThreadInvokerImplTest, StressInvokeAndRemoveWhileCallbacksRun) {
  constexpr int kThreads = 4;
  const ULong kEach = 4000 / kStressScale;
  struct Counting : Invokant {
    std::vector<std::atomic<int>> invoked, discarded;
    std::atomic<int>* inside;
    std::atomic<int>* overlaps;
    std::atomic<int> misordered{0};
    Counting(ULong n, std::atomic<int>* in, std::atomic<int>* ov)
        : invoked(n), discarded(n), inside(in), overlaps(ov) {}
    void Enter() {
      if (inside->fetch_add(1) != 0) overlaps->fetch_add(1);
    }
    void Invoked(ULong p1, ULong, ULong, void*) override {
      Enter();
      if (discarded[p1].load() != 0) misordered.fetch_add(1);
      invoked[p1].fetch_add(1);
      if (p1 % 64 == 0) std::this_thread::yield();
      inside->fetch_sub(1);
    }
    void Discarded(ULong p1, ULong, ULong, void*) override {
      Enter();
      discarded[p1].fetch_add(1);
      inside->fetch_sub(1);
    }
  };
  std::atomic<int> inside{0}, overlaps{0};
  std::vector<std::unique_ptr<Counting>> invokants;
  for (int t = 0; t < kThreads; ++t) {
    invokants.push_back(std::make_unique<Counting>(kEach, &inside, &overlaps));
  }
  {
    MainThreadInvokerImpl invoker;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        std::minstd_rand random(static_cast<unsigned>(t) + 1);
        for (ULong i = 0; i < kEach; ++i) {
          invoker.Invoke(invokants[t].get(), i, 0, 0, nullptr);
          if (random() % 8 == 0) invoker.RemoveInvokant(invokants[(t + random()) % kThreads].get());
        }
      });
    }
    for (auto& thread : threads) thread.join();
  }
  int cancelled = 0;
  for (auto const& invokant : invokants) {
    for (ULong i = 0; i < kEach; ++i) {
      ASSERT_EQ(invokant->discarded[i].load(), 1) << i;
      ASSERT_LE(invokant->invoked[i].load(), 1) << i;
      cancelled += 1 - invokant->invoked[i].load();
    }
    EXPECT_EQ(invokant->misordered.load(), 0);
  }
  EXPECT_EQ(overlaps.load(), 0);
  RecordProperty("cancelled", cancelled);
}

}  // namespace
