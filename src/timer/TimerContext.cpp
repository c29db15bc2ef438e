#include "timer/TimerContext.h"

namespace {
constexpr auto kRelaxed = std::memory_order_relaxed;
}

TimerContextInterface::~TimerContextInterface() = default;

TimerContext::TimerContext() : m_intervall(0), m_cyclic(false), m_timeout(0) {}

TimerContext::TimerContext(Tevrol::Long intervall, bool cyclic)
    : m_intervall(static_cast<Tevrol::ULong>(intervall)), m_cyclic(cyclic), m_timeout(0) {}

TimerContext::TimerContext(TimerContext const& other)
    : TimerContextInterface(other),
      m_intervall(other.m_intervall.load(kRelaxed)),
      m_cyclic(other.m_cyclic.load(kRelaxed)),
      m_timeout(other.m_timeout.load(kRelaxed)) {}

TimerContext& TimerContext::operator=(TimerContext const& other) {
  if (this == &other) return *this;
  m_intervall.store(other.m_intervall.load(kRelaxed), kRelaxed);
  m_cyclic.store(other.m_cyclic.load(kRelaxed), kRelaxed);
  m_timeout.store(other.m_timeout.load(kRelaxed), kRelaxed);
  return *this;
}

TimerContext::~TimerContext() = default;

Tevrol::ULong TimerContext::GetIntervall() const {
  return m_intervall.load(kRelaxed);
}
void TimerContext::SetIntervall(Tevrol::ULong intervall) {
  m_intervall.store(intervall, kRelaxed);
}
bool TimerContext::GetCyclic() const {
  return m_cyclic.load(kRelaxed);
}
void TimerContext::SetCyclic(bool cyclic) {
  m_cyclic.store(cyclic, kRelaxed);
}
Tevrol::ULong TimerContext::GetTimeout() {
  return m_timeout.load(kRelaxed);
}
void TimerContext::SetTimeout(Tevrol::ULong timeout) {
  m_timeout.store(timeout, kRelaxed);
}
