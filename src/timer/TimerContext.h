#ifndef TEVROL_TIMER_TIMERCONTEXT_H
#define TEVROL_TIMER_TIMERCONTEXT_H

#include <atomic>

#include "timer/TimerContextInterface.h"

// A timer's settings, for clients to derive from and implement Tick. Setting
// a value does not reach the service: SetIntervall takes effect at the next
// arming (for a cyclic timer its next firing, or ChangeTimer at once), and
// SetCyclic(false) on a registered cyclic timer lets it fire once more.
// The destructor does not deregister: call RemoveTimer before a registered
// context is destroyed. The fields are read by the timer thread while a
// client may write them, so they are atomics; copies copy their values.
class TEVROL_EXPORT TimerContext : public TimerContextInterface {
 public:
  TimerContext();
  TimerContext(Tevrol::Long intervall, bool cyclic);
  TimerContext(TimerContext const& other);
  TimerContext& operator=(TimerContext const& other);
  ~TimerContext() override;

  Tevrol::ULong GetIntervall() const override;
  void SetIntervall(Tevrol::ULong intervall) override;
  bool GetCyclic() const override;
  void SetCyclic(bool cyclic) override;
  Tevrol::ULong GetTimeout() override;
  void SetTimeout(Tevrol::ULong timeout) override;

 private:
  std::atomic<Tevrol::ULong> m_intervall;
  std::atomic<bool> m_cyclic;
  std::atomic<Tevrol::ULong> m_timeout;  // meaningful only while registered
};

#endif
