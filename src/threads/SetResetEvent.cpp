#include "threads/SetResetEvent.h"

#include <cerrno>
#include <ctime>

#include "threads/VirtualClock.h"

namespace detail {

SetResetEvent::SetResetEvent() : m_signalled(false) {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&m_condition, &attributes);
  pthread_mutex_init(&m_mutex, nullptr);
  pthread_condattr_destroy(&attributes);
}

SetResetEvent::~SetResetEvent() {
  pthread_mutex_destroy(&m_mutex);
  pthread_cond_destroy(&m_condition);
}

// Under virtual time every Set, Wait and WaitFor goes through the clock's
// bookkeeping, keyed by the event's address.
#define TEVROL_VIRTUAL_EVENT                   \
  VirtualEventRef {                            \
    this, &m_mutex, &m_condition, &m_signalled \
  }

void SetResetEvent::Set() {
  if (VirtualTimeOn()) {
    VirtualSet(TEVROL_VIRTUAL_EVENT);
    return;
  }
  pthread_mutex_lock(&m_mutex);
  m_signalled = true;
  pthread_cond_signal(&m_condition);
  pthread_mutex_unlock(&m_mutex);
}

void SetResetEvent::SetWakingAfterUnlock() {
  if (VirtualTimeOn()) {
    VirtualSet(TEVROL_VIRTUAL_EVENT);
    return;
  }
  pthread_mutex_lock(&m_mutex);
  m_signalled = true;
  pthread_mutex_unlock(&m_mutex);
  pthread_cond_signal(&m_condition);
}

void SetResetEvent::Reset() {
  pthread_mutex_lock(&m_mutex);
  m_signalled = false;
  pthread_mutex_unlock(&m_mutex);
}

void SetResetEvent::Wait() {
  if (VirtualTimeOn()) {
    VirtualWait(TEVROL_VIRTUAL_EVENT, false, 0);
    return;
  }
  pthread_mutex_lock(&m_mutex);
  while (!m_signalled) {
    pthread_cond_wait(&m_condition, &m_mutex);
  }
  pthread_mutex_unlock(&m_mutex);
}

timespec DeadlineAfter(timespec now, Tevrol::ULong milliseconds) {
  timespec deadline = now;
  deadline.tv_sec += static_cast<time_t>(milliseconds / 1000);
  deadline.tv_nsec += static_cast<long>((milliseconds % 1000) * 1000000L);
  if (deadline.tv_nsec > 999999999L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  return deadline;
}

void SetResetEvent::WaitFor(Tevrol::ULong milliseconds) {
  if (VirtualTimeOn()) {
    VirtualWait(TEVROL_VIRTUAL_EVENT, true, milliseconds);
    return;
  }
  pthread_mutex_lock(&m_mutex);
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const timespec deadline = DeadlineAfter(now, milliseconds);
  int result = 0;
  while (!m_signalled && result != ETIMEDOUT) {
    result = pthread_cond_timedwait(&m_condition, &m_mutex, &deadline);
  }
  pthread_mutex_unlock(&m_mutex);
}

}  // namespace detail
