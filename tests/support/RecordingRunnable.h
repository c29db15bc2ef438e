#ifndef TEVROL_TESTS_SUPPORT_RECORDINGRUNNABLE_H
#define TEVROL_TESTS_SUPPORT_RECORDINGRUNNABLE_H

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/Waiting.h"
#include "threads/Runnable.h"
#include "threads/Thread.h"
#include "threads/ThreadHelper.h"

// Records every callback with the OS thread it ran on, and lets a test wait
// for a callback instead of sleeping for a guess.
class RecordingRunnable : public Runnable {
 public:
  // What WorkingLoop does on pass `pass` (1-based); by default it sleeps
  // until woken, paused or stopped.
  std::function<void(Thread*, int pass)> onWorkingLoop = [](Thread* t, int) { t->Sleep(60000); };
  std::function<void()> onStartingEvent = [] {};

  void WorkingLoop(Thread* thread) override { onWorkingLoop(thread, Record("WorkingLoop")); }
  void Stop() override { Record("Stop"); }
  void Pause() override { Record("Pause"); }
  void StartingEvent() override { Record("StartingEvent"), onStartingEvent(); }
  void StoppingEvent() override { Record("StoppingEvent"); }
  void ContinueEvent() override { Record("ContinueEvent"); }
  void PauseEvent() override { Record("PauseEvent"); }
  void WakeUp() override { Record("WakeUp"); }

  // Returns how often `name` has been recorded, this time included.
  int Record(char const* name) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_calls.emplace_back(name, ThreadHelper::GetCurrentThreadID());
    m_changed.notify_all();
    return CountLocked(name);
  }
  bool WaitForCount(char const* name, int count) {
    std::unique_lock<std::mutex> guard(m_lock);
    return WaitUntil(guard, m_changed, [&] { return CountLocked(name) >= count; });
  }
  int Count(char const* name) {
    std::lock_guard<std::mutex> guard(m_lock);
    return CountLocked(name);
  }
  std::vector<std::string> Names() {
    std::lock_guard<std::mutex> guard(m_lock);
    std::vector<std::string> names;
    for (auto const& call : m_calls) names.push_back(call.first);
    return names;
  }
  // The thread of the first recording of `name`; 0 if there is none.
  Tevrol::ThreadId ThreadOf(char const* name) {
    std::lock_guard<std::mutex> guard(m_lock);
    for (auto const& call : m_calls) {
      if (call.first == name) return call.second;
    }
    return 0;
  }
  void Clear() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_calls.clear();
  }

 private:
  int CountLocked(char const* name) const {
    return static_cast<int>(std::count_if(m_calls.begin(), m_calls.end(),
                                          [name](auto const& call) { return call.first == name; }));
  }

  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<std::pair<std::string, Tevrol::ThreadId>> m_calls;
};

#endif
