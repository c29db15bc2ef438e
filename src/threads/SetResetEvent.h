#ifndef TEVROL_THREADS_SETRESETEVENT_H
#define TEVROL_THREADS_SETRESETEVENT_H

#include <pthread.h>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

namespace detail {

// A manual-reset event with one waiting thread, timed on CLOCK_MONOTONIC.
// Wait and WaitFor do not clear it: a waiter that must block anew calls
// Reset first, while it holds the lock that guards what it waits for, so a
// Set that comes after that lock is released is not lost. Events do not
// count: two Sets and one Reset leave it clear. Its mutex is the innermost
// lock of the library; Set and Reset may be called with any lock held.
class SetResetEvent {
 public:
  SetResetEvent();
  ~SetResetEvent();
  SetResetEvent(SetResetEvent const&) = delete;
  SetResetEvent& operator=(SetResetEvent const&) = delete;

  TEVROL_EXPORT void Set();
  // Set, but wakes the waiter after releasing the mutex, so that it does not
  // wake into a mutex still held (on one core that costs two more switches).
  // The event is touched after a waiter may have returned: only for an owner
  // that keeps it alive until the call has returned, since a Set may end a
  // wait whose thread then destroys the event.
  void SetWakingAfterUnlock();
  void Reset();
  void Wait();
  // Returns when the event is set or the time has run out, whichever comes
  // first; the whole wait is bounded by one deadline, spurious wake-ups
  // included.
  void WaitFor(Tevrol::ULong milliseconds);

 private:
  pthread_mutex_t m_mutex;  // guards m_signalled and nothing else
  pthread_cond_t m_condition;
  bool m_signalled;
};

// The absolute CLOCK_MONOTONIC deadline that WaitFor waits for, from the
// reading `now`: the nanoseconds carry into the seconds.
timespec DeadlineAfter(timespec now, Tevrol::ULong milliseconds);

}  // namespace detail

#endif
