#ifndef TEVROL_TIMER_TIMERCTRL_H
#define TEVROL_TIMER_TIMERCTRL_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "timer/TimerContextInterface.h"
#include "workloop/Task.h"

// Milliseconds on the monotonic clock, 32 bits: the same tick as the work
// loops'. It wraps after about 49.7 days; deadlines compare across the wrap
// and must lie within 2^31 ms of each other and of the present.
TEVROL_EXPORT Tevrol::Tick TevrolTimerNow();

// The process-wide timer service (TimerCtrl_GetInstance). It calls Tick of a
// registered context after its interval, once or cyclically, always on its
// one thread "TevrolTimer[FW]", one Tick at a time: a long Tick delays every
// other timer of the process. It owns no context.
//
// - A cyclic timer re-arms from the moment it fires (before its Tick), not
//   from its old deadline: the period is the interval plus the dispatch
//   delay, so it drifts; missed firings are not made up.
// - Equal deadlines fire in registration order, one per wake-up; an interval
//   of 2^31 ms or more reads as a deadline in the past and fires at once.
// - Any thread may call every operation, a Tick too (for its own context and
//   others). No lock of the service is held during Tick except the one that
//   lets RemoveTimer wait for it.
// - A context must be removed with RemoveTimer before it is destroyed.
// - The service writes a registered context's deadline (SetTimeout) and
//   orders by what it wrote: GetTimeout must give it back, as TimerContext
//   does, and nobody else sets it while the context is registered.
// - Registering and removing cost the same whatever the number of timers
//   when deadlines arrive in increasing order (the usual case).
// - At process exit the registered timers are dropped without a Tick.
//   exit() called inside a Tick runs the service's destructor on its own
//   thread: it does not wait for itself, and the process ends; a RemoveTimer
//   waiting for that Tick waits until then, since the Tick never returns.
class TEVROL_EXPORT TimerCtrl : public Task {
 public:
  explicit TimerCtrl(char const* name) : Task(name) {}

  // Arms (deadline = now + interval) and registers the context. True for any
  // non-null context: also when it is registered already (its deadline then
  // stays) and at shutdown (nothing is registered then).
  virtual bool NewTimer(TimerContextInterface* context) = 0;
  // Restarts the timer from now with its present settings; registers it if
  // it was not.
  virtual bool ChangeTimer(TimerContextInterface* context) = 0;
  // Deregisters; true if it was registered. If the context's Tick is running
  // on the timer thread, it waits without limit until that Tick returns (do
  // not hold across it a lock that Tick needs); within the Tick itself it
  // does not wait. Afterwards the Tick does not run again until the context
  // is registered anew. A one-shot timer is no longer registered during its
  // own Tick, so RemoveTimer gives false for it there.
  virtual bool RemoveTimer(TimerContextInterface* context) = 0;
  // Does nothing; true.
  virtual bool Startup() = 0;
  // False during the Tick of a one-shot timer, true during a cyclic one's.
  virtual bool IsRegistered(TimerContextInterface* context) const = 0;
  // Does nothing.
  virtual void Timeout(Tevrol::Long value) = 0;
};

#endif
