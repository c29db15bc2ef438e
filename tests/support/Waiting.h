#ifndef TEVROL_TESTS_SUPPORT_WAITING_H
#define TEVROL_TESTS_SUPPORT_WAITING_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "threads/ThreadHelper.h"

// The one way tests wait: until a condition holds, never longer than
// kTestPatience, so that a fault fails a test instead of hanging it.

constexpr auto kTestPatience = std::chrono::seconds(30);

// For state guarded by the lock that `guard` holds, whose changes are
// announced through `changed`.
template <typename Condition>
bool WaitUntil(std::unique_lock<std::mutex>& guard, std::condition_variable& changed,
               Condition condition) {
  return changed.wait_for(guard, kTestPatience, condition);
}

// For state that code under test changes without telling anyone (an atomic
// counter, a registration): looked at every millisecond.
template <typename Condition>
bool WaitUntil(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kTestPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    ThreadHelper::Sleep(1);
  }
  return true;
}

// A one-way gate for handshakes between a test and a callback. Owners open
// it before they stop what calls back, so a failed assertion never leaves a
// callback blocked and a join waiting for ever.
class Gate {
 public:
  void Open() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_open = true;
    m_changed.notify_all();
  }
  // Only while no callback can be waiting on it.
  void Close() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_open = false;
  }
  bool Wait() {
    std::unique_lock<std::mutex> guard(m_lock);
    return WaitUntil(guard, m_changed, [&] { return m_open; });
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  bool m_open = false;
};

#endif
