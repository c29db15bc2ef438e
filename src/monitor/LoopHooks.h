#ifndef TEVROL_MONITOR_LOOPHOOKS_H
#define TEVROL_MONITOR_LOOPHOOKS_H

#include <atomic>
#include <cstdint>

#include "frame/TevrolTypes.h"

class Invokant;
class Task;
class TimerContextInterface;
class WorkLoopImpl;

// Internal: the places where the work loops, the timer service and the
// invoker tell the loop monitor (LoopMonitor.h) what they do. A loop reads
// MonitorFlags once a step, and calls a hook only when it is not 0; a hook
// never runs under a loop's lock.

namespace detail {

enum MonitorFlag : unsigned {
  kMonitorCounters = 1u,
  kMonitorWatchdog = 2u,
  kMonitorTrace = 4u,
};

extern std::atomic<unsigned> g_monitorFlags;

inline unsigned MonitorFlags() {
  return g_monitorFlags.load(std::memory_order_relaxed);
}

std::uint64_t MonitorNowMicros();

// When a hand-over became due (`now`, a MonitorNowMicros reading), as its low
// 32 bits; never 0, which stands for "not stamped" (the monitor was off).
inline std::uint32_t MonitorDueStamp(std::uint64_t now) {
  return static_cast<std::uint32_t>(now) | 1u;
}

enum class LoopEvent { Cancel, Remove, Shutdown };

// `taskName` was read before the hand-over: the task may be gone by now.
void MonitorHandOver(WorkLoopImpl* loop, char const* taskName, Tevrol::ULong queueId,
                     std::uint32_t priority, Tevrol::ULong queueLength, std::uint64_t at);
// Around one record's Execute (skipped for a cancelled one) and Dispose, on
// the loop's thread.
void MonitorTaskStart(WorkLoopImpl* loop, Task* task, Tevrol::ULong queueId, std::uint32_t priority,
                      std::uint32_t dueStamp, Tevrol::ULong queueLength);
void MonitorExecuteEnd(WorkLoopImpl* loop, bool executed);
void MonitorTaskEnd(WorkLoopImpl* loop);
void MonitorLoopEvent(WorkLoopImpl* loop, LoopEvent event, Tevrol::ULong queueId);
// From the loop's destructor: forgets it (also when the monitor is off).
void MonitorLoopGone(WorkLoopImpl* loop);
// Inside the running task of the current thread's loop.
void MonitorTickStart(TimerContextInterface* timer, std::uint64_t latenessMicros);
void MonitorTickEnd();
void MonitorInvokeStart(Invokant* invokant);
void MonitorInvokeEnd();
// The services are being destroyed: the process ends.
void MonitorProcessEnding();

}  // namespace detail

#endif
