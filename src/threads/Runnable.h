#ifndef TEVROL_THREADS_RUNNABLE_H
#define TEVROL_THREADS_RUNNABLE_H

#include "frame/TevrolExport.h"

class Thread;

// What a client runs on a Thread. The Thread calls WorkingLoop again and
// again; the other callbacks tell it what happens:
//
//   occasion            callbacks                     thread
//   start               StartingEvent, WorkingLoop    the thread
//   pause               Pause, PauseEvent             the thread, after WorkingLoop returned
//   continue            ContinueEvent                 the caller of Thread::Continue
//   wake-up             WakeUp                        the caller of Thread::WakeUp
//   stop from outside   Stop, WakeUp, StoppingEvent   the thread, after WorkingLoop returned
//   stop from inside    StoppingEvent                 the thread
//
// No lock of the Thread is held during any callback. ContinueEvent and
// WakeUp run on a foreign thread while WorkingLoop may be running: make them
// safe against it. The Thread never deletes its Runnable. StoppingEvent is
// the last access of the OS thread to the Thread object: after it returns,
// the thread touches neither the Thread nor the Runnable.
class TEVROL_EXPORT Runnable {
 public:
  virtual ~Runnable();
  virtual void WorkingLoop(Thread* thread) = 0;
  virtual void Stop() {}
  virtual void Pause() {}
  virtual void StartingEvent() {}
  virtual void StoppingEvent() {}
  virtual void ContinueEvent() {}
  virtual void PauseEvent() {}
  virtual void WakeUp() {}
};

#endif
