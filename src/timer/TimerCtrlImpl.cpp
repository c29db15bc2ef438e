#include "timer/TimerCtrlImpl.h"

#include "frame/Accessors.h"
#include "monitor/LoopHooks.h"
#include "threads/PDStdOperations.h"
#include "threads/ThreadHelper.h"
#include "threads/Tick.h"

namespace {
constexpr auto kPriority = static_cast<WorkLoop::EPriorityValue>(16);
}

// The same reading as the work loops' tick, test offset included.
Tevrol::Tick TevrolTimerNow() {
  return PDStdOperations::GetTickCount();
}

TimerCtrlImpl::TimerCtrlImpl()
    : TimerCtrl("TimerCtrl"),
      m_workLoop(WorkLoop::CreateInstance()),
      m_lastScheduledTimeout(0),
      m_immediateQueued(false),
      m_callbackLock(new CriticalSection),
      m_currentTimer(nullptr),
      m_shuttingDown(false),
      m_executingThread(0) {
  m_workLoop->SetFriendlyName("TevrolTimer[FW]");
  m_workLoop->Run();
}

TimerCtrlImpl::~TimerCtrlImpl() {
  // The process ends: the loop monitor stops before the service loops drain.
  detail::MonitorProcessEnding();
  m_listLock.Lock();
  m_shuttingDown = true;
  m_timers.RemoveAll();  // registered contexts are not told
  m_listLock.Unlock();
  // exit() inside a Tick runs this on the timer thread, and that Tick never
  // returns: m_callbackLock then stays held and is never destroyed, so that a
  // RemoveTimer waiting for the Tick waits on until the process has ended,
  // as it promises.
  const bool inTick = m_executingThread.load() == ThreadHelper::GetCurrentThreadID();
  if (!inTick) {
    m_callbackLock->Lock();  // waits for a running Tick
    m_callbackLock->Unlock();
  }
  m_workLoop->Shutdown(nullptr);
  // On the timer thread this returns at once and leaves the loop to the
  // ending process, instead of joining its own thread. Otherwise the queued
  // wake-ups run Execute (which finds nothing) before it returns.
  WorkLoop::DeleteInstance(m_workLoop);
  m_workLoop = nullptr;
  if (!inTick) {
    delete m_callbackLock;
  }
}

bool TimerCtrlImpl::NewTimer(TimerContextInterface* context) {
  if (context == nullptr) {
    return false;
  }
  m_listLock.Lock();
  // Behind every timer with an equal deadline; a registered one stays as it is.
  if (!m_shuttingDown && m_timers.Add(context, TevrolTimerNow())) {
    UpdateWorkloopTasks();
  }
  m_listLock.Unlock();
  return true;
}

bool TimerCtrlImpl::ChangeTimer(TimerContextInterface* context) {
  if (context == nullptr) {
    return false;
  }
  m_listLock.Lock();
  m_timers.Remove(context);
  const bool result = NewTimer(context);  // m_listLock is recursive
  m_listLock.Unlock();
  return result;
}

bool TimerCtrlImpl::RemoveTimer(TimerContextInterface* context) {
  if (context == nullptr) {
    return false;
  }
  m_listLock.Lock();
  const bool found = m_timers.Remove(context);
  TimerContextInterface* const current = m_currentTimer.load();
  m_listLock.Unlock();
  if (current == context) {
    // Blocks until the running Tick has returned; within that Tick it is ours.
    m_callbackLock->Lock();
    m_callbackLock->Unlock();
  }
  return found;
}

bool TimerCtrlImpl::IsRegistered(TimerContextInterface* context) const {
  if (context == nullptr) {
    return false;
  }
  m_listLock.Lock();
  const bool found = m_timers.Contains(context);
  m_listLock.Unlock();
  return found;
}

void TimerCtrlImpl::UpdateWorkloopTasks() {
  if (m_timers.IsEmpty()) {
    return;
  }
  const Tevrol::Tick deadline = m_timers.HeadDeadline();
  const std::int32_t remaining = detail::TickDifference(deadline, TevrolTimerNow());
  if (remaining <= 0) {
    // One immediate wake-up at a time: a second one would find the head
    // fired already, and records would pile up in the loop.
    if (!m_immediateQueued) {
      m_immediateQueued = m_workLoop->PerformTask(this, kPriority) != 0;
    }
    return;
  }
  if (deadline == m_lastScheduledTimeout && deadline != 0) {
    return;  // that wake-up is queued already
  }
  // Kept only when the loop accepted it, so a refused wake-up is asked for
  // again at the next call instead of being taken as queued.
  const Tevrol::ULong id =
      m_workLoop->PerformTaskDelayed(this, static_cast<Tevrol::ULong>(remaining), kPriority);
  m_lastScheduledTimeout = id != 0 ? deadline : 0;
}

void TimerCtrlImpl::Execute() {
  // m_callbackLock is taken first, for the whole Execute: a Tick takes
  // m_listLock while it is held, so every thread takes the two in this order.
  // RemoveTimer, which reads m_currentTimer under m_listLock and then waits
  // on m_callbackLock, still waits exactly for a Tick that is picked or running.
  m_callbackLock->Lock();
  m_executingThread.store(ThreadHelper::GetCurrentThreadID());
  m_listLock.Lock();
  // This run may be the queued immediate wake-up: a head that is still due
  // after the pick asks for a new one below.
  m_immediateQueued = false;
  m_currentTimer.store(nullptr);
  const Tevrol::Tick now = TevrolTimerNow();
  // A wake-up whose time has passed is no longer queued: forget it, so that a
  // head deadline equal to it (2^32 ms later) still gets a wake-up of its own.
  if (m_lastScheduledTimeout != 0 && detail::TickDifference(m_lastScheduledTimeout, now) <= 0) {
    m_lastScheduledTimeout = 0;
  }
  TimerContextInterface* fired = nullptr;
  Tevrol::Tick deadline = now;
  if (!m_shuttingDown) {
    if (!m_timers.IsEmpty()) {
      deadline = m_timers.HeadDeadline();  // the pick takes the head if it is due
    }
    // A cyclic timer is re-armed from now, before its Tick.
    fired = m_timers.PickDue(now);
    m_currentTimer.store(fired);
    UpdateWorkloopTasks();
  }
  m_listLock.Unlock();
  const bool monitor = fired != nullptr && detail::MonitorFlags() != 0;
  if (monitor) {
    const std::int32_t late = detail::TickDifference(now, deadline);
    detail::MonitorTickStart(
        fired, late > 0 ? std::uint64_t{static_cast<std::uint32_t>(late)} * 1000u : 0);
  }
  if (fired != nullptr) {
    fired->Tick();
    // The context is not touched after its Tick: it may have destroyed itself.
    m_currentTimer.store(nullptr);
  }
  if (monitor) {
    detail::MonitorTickEnd();
  }
  m_executingThread.store(0);
  m_callbackLock->Unlock();
}

TimerCtrl* TimerCtrl_GetInstance() {
  static TimerCtrlImpl s_instance;
  return &s_instance;
}
