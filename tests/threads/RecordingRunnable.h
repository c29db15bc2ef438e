#ifndef TEVROL_TESTS_THREADS_RECORDINGRUNNABLE_H
#define TEVROL_TESTS_THREADS_RECORDINGRUNNABLE_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "threads/Runnable.h"
#include "threads/Thread.h"
#include "threads/ThreadHelper.h"

// A Runnable that records every callback with the OS thread it ran on, and
// lets a test wait for a callback instead of sleeping for a guess.
class RecordingRunnable : public Runnable {
 public:
  struct Event {
    std::string name;
    Tevrol::ThreadId thread;
  };

  // What WorkingLoop does on pass `pass` (1-based). By default it sleeps
  // until woken, paused or stopped.
  std::function<void(Thread*, int pass)> onWorkingLoop = [](Thread* thread, int) {
    thread->Sleep(60000);
  };
  std::function<void()> onStartingEvent = [] {};

  void WorkingLoop(Thread* thread) override {
    const int pass = Record("WorkingLoop");
    onWorkingLoop(thread, pass);
  }
  void Stop() override { Record("Stop"); }
  void Pause() override { Record("Pause"); }
  void StartingEvent() override {
    Record("StartingEvent");
    onStartingEvent();
  }
  void StoppingEvent() override { Record("StoppingEvent"); }
  void ContinueEvent() override { Record("ContinueEvent"); }
  void PauseEvent() override { Record("PauseEvent"); }
  void WakeUp() override { Record("WakeUp"); }

  // Returns how many times `name` has been recorded, this one included.
  int Record(char const* name) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_events.push_back({name, ThreadHelper::GetCurrentThreadID()});
    m_changed.notify_all();
    return CountLocked(name);
  }

  // Waits (at most 30 s, to turn a hang into a failure) until `name` has
  // been recorded `count` times.
  bool WaitForCount(char const* name, int count) {
    std::unique_lock<std::mutex> guard(m_lock);
    return m_changed.wait_for(guard, std::chrono::seconds(30),
                              [&] { return CountLocked(name) >= count; });
  }

  int Count(char const* name) {
    std::lock_guard<std::mutex> guard(m_lock);
    return CountLocked(name);
  }

  std::vector<std::string> Names() {
    std::lock_guard<std::mutex> guard(m_lock);
    std::vector<std::string> names;
    for (auto const& event : m_events) names.push_back(event.name);
    return names;
  }

  std::vector<Event> Events() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_events;
  }

  // The thread of the first recording of `name`, 0 if none.
  Tevrol::ThreadId ThreadOf(char const* name) {
    std::lock_guard<std::mutex> guard(m_lock);
    for (auto const& event : m_events) {
      if (event.name == name) return event.thread;
    }
    return 0;
  }

  void Clear() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_events.clear();
  }

 private:
  int CountLocked(char const* name) const {
    int count = 0;
    for (auto const& event : m_events) count += event.name == name ? 1 : 0;
    return count;
  }

  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<Event> m_events;
};

// A one-way gate for handshakes between a test and a callback.
class Gate {
 public:
  void Open() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_open = true;
    m_changed.notify_all();
  }
  // Waits at most 30 s; false if the gate stayed shut.
  bool Wait() {
    std::unique_lock<std::mutex> guard(m_lock);
    return m_changed.wait_for(guard, std::chrono::seconds(30), [&] { return m_open; });
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  bool m_open = false;
};

// Opens a gate when the scope ends, so a failed assertion never leaves a
// callback blocked and a Stop joining forever.
class GateOpener {
 public:
  explicit GateOpener(Gate& gate) : m_gate(gate) {}
  ~GateOpener() { m_gate.Open(); }

 private:
  Gate& m_gate;
};

// Polls until `condition` holds, at most 30 s.
template <typename Condition>
bool WaitUntil(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    ThreadHelper::Sleep(1);
  }
  return true;
}

#endif
