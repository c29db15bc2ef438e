#ifndef TEVROL_MONITOR_LOOPPROBE_H
#define TEVROL_MONITOR_LOOPPROBE_H

#include <cstdint>

#include "monitor/LoopMonitor.h"
#include "threads/CriticalSection.h"

class WorkLoopImpl;

namespace detail {

// What the monitor knows of one loop. Made on first need, freed with its
// loop. Lock order: the registry's lock, then m_lock; m_lock is a leaf.
struct LoopProbe {
  explicit LoopProbe(WorkLoopImpl* owner, std::uint32_t number) : loop(owner), serial(number) {}

  WorkLoopImpl* const loop;
  std::uint32_t const serial;  // 1, 2, ... in the order probes were made

  CriticalSection lock;  // guards what follows
  char name[60] = {};
  LoopHealth health = {};
  bool counting = false;  // counters run since the first task after they were switched on
  Tevrol::ULong limitMs = 0;
  // The task that runs now.
  bool running = false;
  std::uint64_t runStart = 0;
  LoopActivity current = {};
  bool hangReported = false;
  bool congested = false;  // a congestion report was given; cleared when the queue empties

  bool named = false;  // the name was read at the first task

  // Only the loop's thread touches these, between its own hooks.
  bool executed = false;
  std::uint32_t startQueueLength = 0;
  std::uint64_t executeEnd = 0;
  std::uint64_t innerStart = 0;  // a Tick or an invoked call
  std::uint64_t taskStart = 0;
};

// The trace (LoopTrace.cpp).
enum class TraceKind : std::uint8_t {
  HandOver,
  Execute,
  Dispose,
  Tick,
  Invoked,
  Cancel,
  Remove,
  Shutdown,
};

struct TraceRecord {
  std::uint64_t start;
  std::uint64_t duration;
  void const* subject;  // the timer context or the Invokant
  std::uint32_t thread;
  std::uint32_t loop;  // the probe's serial
  Tevrol::ULong queueId;
  std::uint32_t priority;
  std::uint32_t queueLength;
  TraceKind kind;
  char name[32];
};

bool TraceIsOn();
void TraceAdd(TraceRecord& record);  // fills in the thread
// The current thread is the loop's thread: names it after the loop.
void TraceNameThread(std::uint32_t loop, char const* name);
bool TraceStart(Tevrol::ULong events);
void TraceStop();
bool TraceWrite(char const* path);

}  // namespace detail

#endif
