#ifndef TEVROL_THREADS_THREAD_H
#define TEVROL_THREADS_THREAD_H

#include <atomic>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "threads/CriticalSection.h"
#include "threads/RunnablePD.h"
#include "threads/SetResetEvent.h"
#include "threads/ThreadPD.h"

class Runnable;

// Abstract priorities: the column and the row of Thread::g_threadPriorityTable.
struct TEVROL_EXPORT ThreadPriorities {
  enum Priority {
    Priority0,
    Priority1,
    Priority2,
    Priority3,
    Priority4,
    Priority5,
    Priority6,
    Priority7
  };
  enum PriorityType { PriorityType0, PriorityType1, PriorityType2, PriorityType3 };
};

// Runs a Runnable on an OS thread of its own: WorkingLoop is called again and
// again, and any other thread may pause, continue, wake and stop the thread
// at the boundaries between those calls (see Runnable.h for the callbacks and
// the threads they run on). No lock of ours is held during a callback.
//
// Order of use: construct, SetPriority and the name if wanted, Start; then
// Pause, Continue and WakeUp at will; Stop, or just destroy, at the end.
// Every Start and every Continue owes one pass of WorkingLoop that a Pause or
// Stop right behind cannot cancel. A stopped thread (state 5) may be started
// again. Limits: one thread at a time stops a Thread; no Start while an OS
// thread of the object is alive; never destroy a Thread on its own thread,
// and after it stopped itself, not before its StoppingEvent has run.
class TEVROL_EXPORT Thread : public RunnablePD {
 public:
  enum State {
    StateCreated = 0,
    StateRunning = 1,
    StatePausing = 2,
    StatePaused = 3,
    StateStopping = 4,
    StateStopped = 5,
  };

  // The OS priority of a thread with priority p and type t is
  // g_threadPriorityTable[t][p]. Every Thread constructor rewrites it from
  // ThreadPriorityMapper.cfg or the built-in table.
  static Tevrol::Long g_threadPriorityTable[4][8];

  // Null is allowed if the owner sets the Runnable before Start.
  explicit Thread(Runnable* runnable);
  // Stops (and so waits for a running WorkingLoop); does not delete the Runnable.
  virtual ~Thread();
  Thread(Thread const&) = delete;
  Thread& operator=(Thread const&) = delete;

  void ThreadLoop() override;

  // Starts the OS thread; does not look at the state.
  void Start();
  // Returns when the thread has ended. On the thread itself (from
  // WorkingLoop) it returns at once with state 5, and the thread ends after
  // WorkingLoop returns, with StoppingEvent only.
  void Stop();
  // Requests a pause and ends a running Sleep; does not wait for the pause.
  void Pause();
  // Requests a pause without ending a running Sleep. The argument is not
  // looked at: false pauses too.
  void SetPauseThread(bool pause);
  bool GetPauseThread();
  // Owes one pass of WorkingLoop in every state; from a pause also resumes
  // and calls ContinueEvent on the calling thread.
  void Continue();
  // Calls Runnable::WakeUp on the calling thread, then ends a Sleep. Does not
  // change the state: a paused thread stays paused.
  void WakeUp();
  // For the Runnable, on the thread itself: sleeps until the time is out or
  // WakeUp, Pause or Stop comes. Outside state 1 returns at once.
  void Sleep(Tevrol::ULong milliseconds);
  // Takes effect at the next Start: set it before.
  void SetPriority(ThreadPriorities::Priority priority, ThreadPriorities::PriorityType type);
  void InitializeThreadPriorityTbl();

  // For owners such as work loops.
  ThreadPD& GetPlatformThread() { return m_platformThread; }
  // Before Start only.
  void SetRunnable(Runnable* runnable) { m_runnable = runnable; }
  Tevrol::Long GetState() const { return m_state.load(); }
  // The id taken by the last Start; 0 before; kept after the thread ends.
  Tevrol::ThreadId GetThreadId() const { return m_threadId.load(); }
  // A Runnable ends its thread by calling this at the end of WorkingLoop on
  // the thread itself: the thread then runs the stop sequence and ends, and
  // stays unjoined in state 4 until Stop.
  void EndFromRunnable() { m_state.store(StateStopping); }

 private:
  ThreadPD m_platformThread;
  Runnable* m_runnable;  // not owned
  // Written under m_stateLock, but for the Runnable's store of 4 on the
  // thread itself; read without the lock by GetPauseThread.
  std::atomic<Tevrol::Long> m_state;
  ThreadPriorities::Priority m_priority;
  ThreadPriorities::PriorityType m_priorityType;
  CriticalSection m_stateLock;  // guards m_state and m_runOnce
  detail::SetResetEvent m_wakeEvent;
  bool m_runOnce;  // a pass of WorkingLoop is owed
  std::atomic<Tevrol::ThreadId> m_threadId;
};

#endif
