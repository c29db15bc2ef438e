#ifndef TEVROL_TIMER_TIMERCTRLIMPL_H
#define TEVROL_TIMER_TIMERCTRLIMPL_H

#include <atomic>

#include "frame/TevrolTypes.h"
#include "threads/CriticalSection.h"
#include "timer/TimerCtrl.h"
#include "timer/TimerList.h"
#include "workloop/WorkLoop.h"

// The service is its own work loop's task: every wake-up hands this object to
// the loop, at once or delayed, and each Execute fires at most one timer.
// Lock order: m_callbackLock, then m_listLock. Execute holds m_callbackLock
// from its start until the Tick it fires has returned; RemoveTimer and the
// destructor take it alone, to wait for a Tick.
//
// At most one immediate wake-up is queued at a time: a due head asks for one
// only when none is pending, and Execute, which may be that wake-up, forgets
// it and asks again for a head that is still due. So a cyclic timer with
// interval 0 fires once a wake-up, in list order with the other due timers,
// and holds at most two records of the loop (the one running, one queued).
class TimerCtrlImpl : public TimerCtrl {
 public:
  TimerCtrlImpl();
  ~TimerCtrlImpl() override;

  void Execute() override;
  void Dispose() override {}  // queued again and again: the service stays
  bool NewTimer(TimerContextInterface* context) override;
  bool ChangeTimer(TimerContextInterface* context) override;
  bool RemoveTimer(TimerContextInterface* context) override;
  bool Startup() override { return true; }
  bool IsRegistered(TimerContextInterface* context) const override;
  void Timeout(Tevrol::Long) override {}
  // Does nothing: the destructor shuts down.
  void Shutdown() {}

  // The loop that runs Execute (for the loop monitor and tests).
  WorkLoop* GetWorkLoop() { return m_workLoop; }
  WorkLoop* GetWorkLoopForTesting() { return m_workLoop; }

 private:
  // With m_listLock held: makes sure a wake-up is queued for the head.
  void UpdateWorkloopTasks();

  WorkLoop* m_workLoop;  // owned
  TimerList m_timers;    // sorted by deadline, equal ones in insertion order
  // The deadline of the last delayed wake-up the loop accepted; 0 for none.
  Tevrol::Tick m_lastScheduledTimeout;
  // An immediate wake-up was accepted and its Execute has not started.
  bool m_immediateQueued;
  mutable CriticalSection m_listLock;  // guards the fields around it and the pick
  // Held by the timer thread from a pick to the end of its Tick. On the heap:
  // when exit() inside a Tick runs the destructor, the lock stays held and
  // alive, so that a RemoveTimer waiting for that Tick goes on waiting.
  CriticalSection* const m_callbackLock;
  std::atomic<TimerContextInterface*> m_currentTimer;  // read by RemoveTimer under m_listLock
  bool m_shuttingDown;
  std::atomic<Tevrol::ThreadId> m_executingThread;  // the timer thread while in Execute, else 0
};

#endif
