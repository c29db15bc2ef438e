#ifndef TEVROL_TIMER_TIMERCONTEXTINTERFACE_H
#define TEVROL_TIMER_TIMERCONTEXTINTERFACE_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// What the timer service calls back. The service reads a context only
// through these operations, under its list lock: the getters and setters must
// not block. Tick runs on the timer thread ("TevrolTimer[FW]").
class TEVROL_EXPORT TimerContextInterface {
 public:
  virtual ~TimerContextInterface();
  virtual void Tick() = 0;
  // Milliseconds.
  virtual Tevrol::ULong GetIntervall() const = 0;
  virtual void SetIntervall(Tevrol::ULong intervall) = 0;
  virtual bool GetCyclic() const = 0;
  virtual void SetCyclic(bool cyclic) = 0;
  // The deadline in ticks of TevrolTimerNow; the service writes it.
  virtual Tevrol::ULong GetTimeout() = 0;
  virtual void SetTimeout(Tevrol::ULong timeout) = 0;
};

#endif
