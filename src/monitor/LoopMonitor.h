#ifndef TEVROL_MONITOR_LOOPMONITOR_H
#define TEVROL_MONITOR_LOOPMONITOR_H

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

class Invokant;
class TimerContextInterface;
class WorkLoop;

// Loop health, a watchdog for stuck tasks and a task trace, for work loops,
// the timer service and the main-thread invoker. Nothing of it runs unless
// the client switches it on: with nothing switched on, each step of a loop
// costs one relaxed atomic load more, and the process has exactly the
// threads it would have without this header.
//
// Durations are in microseconds of a steady clock.
//
// Threads and locks: every report reaches the client's callback on the
// watchdog's thread, with no lock of the library held. The recorder's locks
// are leaves: a loop takes them only after releasing its own lock, and they
// are never held while client code runs. Do not call SetWatchdogLimit or
// SetWatchdogCallback from inside a report.
//
// At exit (or when the timer service or the invoker is destroyed, whichever
// comes first) the watchdog stops and every hook is ignored from then on.

// What ran: a task of a loop, and for the timer service the context whose
// Tick it was, for the invoker the Invokant whose Invoked it was (their
// tasks all bear one name).
struct LoopActivity {
  char taskName[32];  // the task's friendly name, cut to 31 bytes
  Tevrol::ULong queueId;
  std::uint32_t priority;
  TimerContextInterface* timer;  // the timer service's Tick, else null
  Invokant* invokant;            // the invoker's call, else null
};

struct LoopHealth {
  char loopName[60];
  std::uint64_t executed;     // Execute calls (a cancelled hand-over gets Dispose only)
  Tevrol::ULong queueLength;  // hand-overs queued now, the running one not counted
  // The most queued at once while any part of the monitor was switched on.
  Tevrol::ULong queueHighWater;
  // From the moment a hand-over is due (its hand-over, or its due time for a
  // delayed one) to its start.
  std::uint64_t longestWaitMicros;
  LoopActivity longestWait;
  // From the start of Execute to the end of Dispose.
  std::uint64_t longestRunMicros;
  LoopActivity longestRun;
  // The timer service only: how late a Tick started after its deadline.
  std::uint64_t worstTickLatenessMicros;
  TimerContextInterface* worstLateTimer;
};

struct WatchdogReport {
  enum Kind {
    Hang,        // a task has run past the limit, and still runs
    HangEnded,   // the task of a Hang report has ended
    Congestion,  // a due task waited past the limit behind others
  };
  Kind kind;
  char loopName[60];
  LoopActivity activity;
  // Hang: how long it has run; HangEnded: how long it ran in all;
  // Congestion: how long it waited.
  Tevrol::ULong milliseconds;
};

using WatchdogCallback = void (*)(WatchdogReport const& report, void* context);

class TEVROL_EXPORT LoopMonitor {
 public:
  // The loops of the two services, to watch or to ask about; each call
  // creates its service (and so its thread) if it does not exist yet.
  static WorkLoop* GetTimerServiceLoop();
  static WorkLoop* GetInvokerLoop();

  // The counters of LoopHealth (but the queue length, which is always kept)
  // cost a lock per task: off until switched on.
  static void EnableCounters(bool on);
  // False for a null loop. Counters start at the first task after
  // EnableCounters(true).
  static bool GetHealth(WorkLoop* loop, LoopHealth& health);

  // Null drops the reports; IsHealthy still works.
  static void SetWatchdogCallback(WatchdogCallback callback, void* context);
  // Watches `loop` with a limit in milliseconds; 0 stops watching it. The
  // first limit starts the watchdog's thread ("TevrolWatchdog"), the last
  // one cleared (or its loop deleted) stops it. False for a null loop or
  // after the end of the process has begun.
  static bool SetWatchdogLimit(WorkLoop* loop, Tevrol::ULong milliseconds);
  // False while a task of a watched loop has run past its limit (a hang);
  // congestion alone keeps it true. Feed a hardware watchdog only while true.
  static bool IsHealthy();

  // Records into a ring of `events` events (allocated here; the oldest are
  // overwritten once it is full). A running trace is cleared and started
  // anew. False for 0 or when the memory is refused.
  static bool StartTrace(Tevrol::ULong events);
  // Stops recording; what was recorded stays until the next StartTrace.
  static void StopTrace();
  // Writes what was recorded as a Trace Event JSON file, which trace
  // viewers open: thread names, one complete event per Execute, Dispose,
  // Tick and invoked call, a flow from each hand-over to its start, the
  // queue length as a counter, and instant events for cancel, remove and
  // shutdown. False when the file cannot be written. Recording may go on.
  static bool WriteTrace(char const* path);
};

#endif
