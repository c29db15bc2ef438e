#include "monitor/LoopMonitor.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "frame/Accessors.h"
#include "monitor/LoopHooks.h"
#include "monitor/LoopProbe.h"
#include "threads/Runnable.h"
#include "threads/SetResetEvent.h"
#include "threads/Thread.h"
#include "threads/ThreadHelper.h"
#include "threads/VirtualClock.h"
#include "timer/TimerCtrlImpl.h"
#include "workloop/MainThreadInvokerImpl.h"
#include "workloop/Task.h"
#include "workloop/WorkLoopImpl.h"

namespace detail {

std::atomic<unsigned> g_monitorFlags{0};

namespace {
// Set once the end of the process has begun: hooks are ignored from then on.
std::atomic<bool> g_monitorEnded{false};
}  // namespace

std::uint64_t MonitorNowMicros() {
  if (VirtualTimeOn()) {
    return VirtualMicros();  // the monitor follows the tick's virtual time
  }
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                        std::chrono::steady_clock::now().time_since_epoch())
                                        .count());
}

namespace {

void CopyText(char* out, std::size_t size, char const* text) {
  if (text == nullptr) text = "";
  std::size_t length = std::strlen(text);
  if (length >= size) length = size - 1;
  std::memcpy(out, text, length);
  out[length] = '\0';
}

// The registry of probes, the watchdog and its reports. Made at first use
// and never destroyed: hooks may come from loops that outlive static
// destruction, and the end of the process stops it instead.
class Monitor : public Runnable {
 public:
  static Monitor& Get() {
    static Monitor* const s_monitor = new Monitor;
    return *s_monitor;
  }

  LoopProbe* ProbeOf(WorkLoopImpl* loop) {
    LoopProbe* probe = loop->GetProbe();
    if (probe != nullptr) return probe;
    m_lock.Lock();
    probe = loop->GetProbe();
    if (probe == nullptr) {
      probe = new (std::nothrow) LoopProbe(loop, ++m_serials);
      if (probe != nullptr) {
        loop->CopyName(probe->name, sizeof probe->name);
        m_probes.push_back(probe);
        loop->SetProbe(probe);
      }
    }
    m_lock.Unlock();
    return probe;
  }

  void Forget(WorkLoopImpl* loop) {
    m_lock.Lock();
    LoopProbe* const probe = loop->GetProbe();
    bool lastLimit = false;
    if (probe != nullptr) {
      for (auto it = m_probes.begin(); it != m_probes.end(); ++it) {
        if (*it == probe) {
          m_probes.erase(it);
          break;
        }
      }
      loop->SetProbe(nullptr);
      if (probe->limitMs != 0) lastLimit = --m_limits == 0;
      if (lastLimit) {
        // The last watched loop went: the watchdog ends itself, and is
        // joined by the next limit or at the end of the process.
        g_monitorFlags.fetch_and(~kMonitorWatchdog);
        m_stopping.store(true);
      }
    }
    m_lock.Unlock();
    delete probe;
    if (lastLimit) Wake();
  }

  void SetCallback(WatchdogCallback callback, void* context) {
    m_lock.Lock();
    m_callback = callback;
    m_context = context;
    m_lock.Unlock();
  }

  bool SetLimit(WorkLoopImpl* loop, Tevrol::ULong milliseconds) {
    if (Ended()) return false;
    LoopProbe* const probe = ProbeOf(loop);
    if (probe == nullptr) return false;
    m_controlLock.Lock();
    m_lock.Lock();
    probe->lock.Lock();
    const bool had = probe->limitMs != 0;
    probe->limitMs = milliseconds;
    probe->lock.Unlock();
    m_limits = m_limits + (milliseconds != 0 ? 1u : 0u) - (had ? 1u : 0u);
    const bool watching = m_limits > 0;
    if (watching) {
      g_monitorFlags.fetch_or(kMonitorWatchdog);
    } else {
      g_monitorFlags.fetch_and(~kMonitorWatchdog);
    }
    m_lock.Unlock();
    // A thread that ended itself (its last loop went) is joined first.
    if (m_threadStarted && (!watching || m_stopping.load())) {
      StopThread();
      m_threadStarted = false;
    }
    if (watching && !m_threadStarted) {
      StartThread();
      m_threadStarted = true;
    }
    m_controlLock.Unlock();
    Wake();  // a new limit may be due earlier than the one waited for
    return true;
  }

  bool IsHealthy() {
    const std::uint64_t now = MonitorNowMicros();
    bool healthy = true;
    m_lock.Lock();
    for (LoopProbe* probe : m_probes) {
      probe->lock.Lock();
      if (probe->limitMs != 0 && probe->running &&
          now - probe->runStart > std::uint64_t{probe->limitMs} * 1000u) {
        healthy = false;
      }
      probe->lock.Unlock();
    }
    m_lock.Unlock();
    return healthy;
  }

  // A watched task started at `start` with a limit: wake the watchdog if it
  // sleeps past the new deadline.
  void TaskWatched(std::uint64_t deadline) {
    if (deadline < m_nextWake.load()) Wake();
  }

  void Report(WatchdogReport const& report) {
    m_reportLock.Lock();
    m_reports.push_back(report);
    m_reportLock.Unlock();
    Wake();
  }

  // The end of the process: no more reports, no more hooks.
  void End() {
    if (g_monitorEnded.exchange(true)) return;
    g_monitorFlags.store(0);
    m_controlLock.Lock();
    if (m_threadStarted) StopThread();
    m_threadStarted = false;
    m_controlLock.Unlock();
  }

  static bool Ended() { return g_monitorEnded.load(); }

  void WorkingLoop(Thread* thread) override;

 private:
  Monitor() : m_thread(this) { m_thread.GetPlatformThread().SetFriendlyName("TevrolWatchdog"); }

  void Wake() { m_event.Set(); }

  void StartThread() {
    static bool s_atExit = false;
    if (!s_atExit) {
      s_atExit = true;
      std::atexit([] { Monitor::Get().End(); });
    }
    m_stopping.store(false);
    m_thread.Start();
  }

  void StopThread() {
    m_stopping.store(true);
    // From a report (exit() inside the callback) the thread cannot join
    // itself: it ends after the report.
    if (ThreadHelper::GetCurrentThreadID() == m_thread.GetThreadId()) return;
    Wake();
    m_thread.Stop();
  }

  // Looks at every watched task: reports those past their limit, and gives
  // the earliest deadline still ahead (UINT64_MAX for none).
  std::uint64_t Scan();
  void Deliver();

  // Held while the watchdog's thread is started or stopped; before m_lock.
  CriticalSection m_controlLock;
  bool m_threadStarted = false;  // an OS thread was started and not yet joined
  CriticalSection m_lock;        // guards the probes list and the limit count
  std::vector<LoopProbe*> m_probes;
  std::uint32_t m_serials = 0;
  unsigned m_limits = 0;  // probes with a limit
  WatchdogCallback m_callback = nullptr;
  void* m_context = nullptr;
  CriticalSection m_reportLock;  // a leaf: guards m_reports
  std::vector<WatchdogReport> m_reports;
  SetResetEvent m_event;
  std::atomic<std::uint64_t> m_nextWake{UINT64_MAX};
  std::atomic<bool> m_stopping{false};
  Thread m_thread;
};

std::uint64_t Monitor::Scan() {
  const std::uint64_t now = MonitorNowMicros();
  std::uint64_t earliest = UINT64_MAX;
  m_lock.Lock();
  for (LoopProbe* probe : m_probes) {
    probe->lock.Lock();
    if (probe->limitMs != 0 && probe->running && !probe->hangReported) {
      const std::uint64_t deadline = probe->runStart + std::uint64_t{probe->limitMs} * 1000u;
      if (now >= deadline) {
        probe->hangReported = true;
        WatchdogReport report{};
        report.kind = WatchdogReport::Hang;
        std::memcpy(report.loopName, probe->name, sizeof report.loopName);
        report.activity = probe->current;
        report.milliseconds = static_cast<Tevrol::ULong>((now - probe->runStart) / 1000u);
        m_reportLock.Lock();
        m_reports.push_back(report);
        m_reportLock.Unlock();
      } else if (deadline < earliest) {
        earliest = deadline;
      }
    }
    probe->lock.Unlock();
  }
  m_lock.Unlock();
  return earliest;
}

void Monitor::Deliver() {
  m_reportLock.Lock();
  std::vector<WatchdogReport> reports;
  reports.swap(m_reports);
  m_reportLock.Unlock();
  if (reports.empty()) return;
  m_lock.Lock();
  const WatchdogCallback callback = m_callback;
  void* const context = m_context;
  m_lock.Unlock();
  if (callback == nullptr) return;
  for (WatchdogReport const& report : reports) callback(report, context);
}

void Monitor::WorkingLoop(Thread* thread) {
  while (!m_stopping.load()) {
    // Reset before the scan: a task that starts after it sets the event.
    m_event.Reset();
    m_nextWake.store(0);
    const std::uint64_t earliest = Scan();
    m_nextWake.store(earliest);
    Deliver();
    if (m_stopping.load()) break;
    if (earliest == UINT64_MAX) {
      m_event.Wait();
    } else {
      const std::uint64_t now = MonitorNowMicros();
      const std::uint64_t micros = earliest > now ? earliest - now : 0;
      m_event.WaitFor(static_cast<Tevrol::ULong>((micros + 999u) / 1000u));
    }
  }
  Deliver();
  thread->EndFromRunnable();
}

LoopActivity ActivityOf(Task* task, Tevrol::ULong queueId, std::uint32_t priority) {
  LoopActivity activity{};
  CopyText(activity.taskName, sizeof activity.taskName, task->GetFriendlyName());
  activity.queueId = queueId;
  activity.priority = priority;
  return activity;
}

// The probe of the loop whose task runs on this thread now.
thread_local LoopProbe* t_running = nullptr;

void TraceTask(LoopProbe* probe, TraceKind kind, std::uint64_t start, std::uint64_t end,
               void const* subject, std::uint32_t queueLength) {
  TraceRecord record{};
  record.kind = kind;
  record.start = start;
  record.duration = end - start;
  record.subject = subject;
  record.loop = probe->serial;
  record.queueId = probe->current.queueId;
  record.priority = probe->current.priority;
  record.queueLength = queueLength;
  std::memcpy(record.name, probe->current.taskName, sizeof record.name);
  TraceAdd(record);
}

}  // namespace

void MonitorHandOver(WorkLoopImpl* loop, char const* taskName, Tevrol::ULong queueId,
                     std::uint32_t priority, Tevrol::ULong queueLength, std::uint64_t at) {
  if ((MonitorFlags() & kMonitorTrace) == 0 || !TraceIsOn() || Monitor::Ended()) return;
  LoopProbe* const probe = Monitor::Get().ProbeOf(loop);
  if (probe == nullptr) return;
  TraceRecord record{};
  record.kind = TraceKind::HandOver;
  record.start = at;
  record.loop = probe->serial;
  record.queueId = queueId;
  record.priority = priority;
  record.queueLength = static_cast<std::uint32_t>(queueLength);
  CopyText(record.name, sizeof record.name, taskName);
  TraceAdd(record);
}

void MonitorTaskStart(WorkLoopImpl* loop, Task* task, Tevrol::ULong queueId, std::uint32_t priority,
                      std::uint32_t dueStamp, Tevrol::ULong queueLength) {
  if (Monitor::Ended()) return;
  Monitor& monitor = Monitor::Get();
  LoopProbe* const probe = monitor.ProbeOf(loop);
  if (probe == nullptr) return;
  t_running = probe;
  const std::uint64_t now = MonitorNowMicros();
  probe->taskStart = now;
  probe->innerStart = 0;
  probe->executed = false;
  probe->startQueueLength = static_cast<std::uint32_t>(queueLength);
  const unsigned flags = MonitorFlags();
  // Wrap-safe in 32 bits: waits up to 71 minutes are told right. The stamp
  // has its low bit set: so must now, or a start in the stamp's microsecond
  // would read as 2^32 - 1.
  const std::uint64_t waited =
      dueStamp != 0 ? static_cast<std::uint32_t>((static_cast<std::uint32_t>(now) | 1u) - dueStamp)
                    : 0;
  WatchdogReport congestion{};
  bool report = false;
  std::uint64_t deadline = UINT64_MAX;
  probe->lock.Lock();
  if (!probe->named) {
    // The name is final once the loop runs.
    loop->CopyName(probe->name, sizeof probe->name);
    probe->named = true;
  }
  probe->current = ActivityOf(task, queueId, priority);
  probe->running = true;
  probe->runStart = now;
  probe->hangReported = false;
  if ((flags & kMonitorCounters) != 0) {
    probe->counting = true;
    if (dueStamp != 0 && waited > probe->health.longestWaitMicros) {
      probe->health.longestWaitMicros = waited;
      probe->health.longestWait = probe->current;
    }
  }
  if (probe->limitMs != 0) {
    const std::uint64_t limit = std::uint64_t{probe->limitMs} * 1000u;
    deadline = now + limit;
    if (queueLength == 0) {
      probe->congested = false;
    } else if (dueStamp != 0 && waited > limit && !probe->congested) {
      probe->congested = true;
      report = true;
      congestion.kind = WatchdogReport::Congestion;
      std::memcpy(congestion.loopName, probe->name, sizeof congestion.loopName);
      congestion.activity = probe->current;
      congestion.milliseconds = static_cast<Tevrol::ULong>(waited / 1000u);
    }
  }
  probe->lock.Unlock();
  if ((flags & kMonitorTrace) != 0) TraceNameThread(probe->serial, probe->name);
  if (report) monitor.Report(congestion);
  if (deadline != UINT64_MAX) monitor.TaskWatched(deadline);
}

void MonitorExecuteEnd(WorkLoopImpl* loop, bool executed) {
  LoopProbe* const probe = loop->GetProbe();
  if (probe == nullptr || t_running != probe) return;
  probe->executed = executed;
  // The end of Execute is read only for the trace; 0 stands for "not read".
  probe->executeEnd = executed ? 0 : probe->taskStart;
  if (executed && (MonitorFlags() & kMonitorTrace) != 0) {
    probe->executeEnd = MonitorNowMicros();
    TraceTask(probe, TraceKind::Execute, probe->taskStart, probe->executeEnd, nullptr,
              probe->startQueueLength);
  }
}

void MonitorTaskEnd(WorkLoopImpl* loop) {
  LoopProbe* const probe = loop->GetProbe();
  if (probe == nullptr || t_running != probe) return;
  t_running = nullptr;
  const std::uint64_t now = MonitorNowMicros();
  const unsigned flags = MonitorFlags();
  if ((flags & kMonitorTrace) != 0 && probe->executeEnd != 0) {
    TraceTask(probe, TraceKind::Dispose, probe->executeEnd, now, nullptr, 0);
  }
  WatchdogReport ended{};
  bool report = false;
  probe->lock.Lock();
  const std::uint64_t ran = now - probe->runStart;
  if (probe->counting) {
    if (probe->executed) ++probe->health.executed;
    if (ran > probe->health.longestRunMicros) {
      probe->health.longestRunMicros = ran;
      probe->health.longestRun = probe->current;
    }
  }
  if (probe->hangReported) {
    report = true;
    ended.kind = WatchdogReport::HangEnded;
    std::memcpy(ended.loopName, probe->name, sizeof ended.loopName);
    ended.activity = probe->current;
    ended.milliseconds = static_cast<Tevrol::ULong>(ran / 1000u);
  }
  probe->running = false;
  probe->hangReported = false;
  probe->lock.Unlock();
  if (report) Monitor::Get().Report(ended);
}

void MonitorLoopEvent(WorkLoopImpl* loop, LoopEvent event, Tevrol::ULong queueId) {
  if ((MonitorFlags() & kMonitorTrace) == 0 || !TraceIsOn() || Monitor::Ended()) return;
  LoopProbe* const probe = Monitor::Get().ProbeOf(loop);
  if (probe == nullptr) return;
  TraceRecord record{};
  record.kind = event == LoopEvent::Cancel   ? TraceKind::Cancel
                : event == LoopEvent::Remove ? TraceKind::Remove
                                             : TraceKind::Shutdown;
  record.start = MonitorNowMicros();
  record.loop = probe->serial;
  record.queueId = queueId;
  CopyText(record.name, sizeof record.name,
           event == LoopEvent::Cancel   ? "cancel"
           : event == LoopEvent::Remove ? "remove"
                                        : "shutdown");
  TraceAdd(record);
}

void MonitorLoopGone(WorkLoopImpl* loop) {
  if (loop->GetProbe() != nullptr) Monitor::Get().Forget(loop);
}

void MonitorTickStart(TimerContextInterface* timer, std::uint64_t latenessMicros) {
  LoopProbe* const probe = t_running;
  if (probe == nullptr) return;
  probe->innerStart = MonitorNowMicros();
  probe->lock.Lock();
  probe->current.timer = timer;
  if (probe->counting && latenessMicros >= probe->health.worstTickLatenessMicros) {
    probe->health.worstTickLatenessMicros = latenessMicros;
    probe->health.worstLateTimer = timer;
  }
  probe->lock.Unlock();
}

void MonitorTickEnd() {
  LoopProbe* const probe = t_running;
  if (probe == nullptr || probe->innerStart == 0) return;
  if ((MonitorFlags() & kMonitorTrace) != 0) {
    TraceTask(probe, TraceKind::Tick, probe->innerStart, MonitorNowMicros(), probe->current.timer,
              0);
  }
  probe->innerStart = 0;
}

void MonitorInvokeStart(Invokant* invokant) {
  LoopProbe* const probe = t_running;
  if (probe == nullptr) return;
  probe->innerStart = MonitorNowMicros();
  probe->lock.Lock();
  probe->current.invokant = invokant;
  probe->lock.Unlock();
}

void MonitorInvokeEnd() {
  LoopProbe* const probe = t_running;
  if (probe == nullptr || probe->innerStart == 0) return;
  if ((MonitorFlags() & kMonitorTrace) != 0) {
    TraceTask(probe, TraceKind::Invoked, probe->innerStart, MonitorNowMicros(),
              probe->current.invokant, 0);
  }
  probe->innerStart = 0;
}

void MonitorProcessEnding() {
  // Only a watchdog that was started has anything to stop.
  if ((MonitorFlags() & kMonitorWatchdog) != 0) {
    Monitor::Get().End();
  } else {
    g_monitorEnded.store(true);
    g_monitorFlags.store(0);
  }
}

}  // namespace detail

using detail::Monitor;

WorkLoop* LoopMonitor::GetTimerServiceLoop() {
  return static_cast<TimerCtrlImpl*>(TimerCtrl_GetInstance())->GetWorkLoop();
}

WorkLoop* LoopMonitor::GetInvokerLoop() {
  return static_cast<MainThreadInvokerImpl*>(MainThreadInvoker_GetInstance())->GetWorkLoop();
}

void LoopMonitor::EnableCounters(bool on) {
  if (on) {
    if (!Monitor::Ended()) detail::g_monitorFlags.fetch_or(detail::kMonitorCounters);
  } else {
    detail::g_monitorFlags.fetch_and(~detail::kMonitorCounters);
  }
}

bool LoopMonitor::GetHealth(WorkLoop* loop, LoopHealth& health) {
  if (loop == nullptr) return false;
  auto* const impl = static_cast<WorkLoopImpl*>(loop);
  detail::LoopProbe* const probe = Monitor::Get().ProbeOf(impl);
  if (probe == nullptr) return false;
  Tevrol::ULong length = 0, highWater = 0;
  impl->GetQueueLengths(length, highWater);
  probe->lock.Lock();
  if (probe->name[0] == '\0') impl->CopyName(probe->name, sizeof probe->name);
  health = probe->health;
  std::memcpy(health.loopName, probe->name, sizeof health.loopName);
  probe->lock.Unlock();
  health.queueLength = length;
  health.queueHighWater = highWater;
  return true;
}

void LoopMonitor::SetWatchdogCallback(WatchdogCallback callback, void* context) {
  Monitor::Get().SetCallback(callback, context);
}

bool LoopMonitor::SetWatchdogLimit(WorkLoop* loop, Tevrol::ULong milliseconds) {
  if (loop == nullptr) return false;
  return Monitor::Get().SetLimit(static_cast<WorkLoopImpl*>(loop), milliseconds);
}

bool LoopMonitor::IsHealthy() {
  return Monitor::Get().IsHealthy();
}

bool LoopMonitor::StartTrace(Tevrol::ULong events) {
  if (Monitor::Ended() || !detail::TraceStart(events)) return false;
  detail::g_monitorFlags.fetch_or(detail::kMonitorTrace);
  return true;
}

void LoopMonitor::StopTrace() {
  detail::g_monitorFlags.fetch_and(~detail::kMonitorTrace);
  detail::TraceStop();
}

bool LoopMonitor::WriteTrace(char const* path) {
  return path != nullptr && detail::TraceWrite(path);
}
