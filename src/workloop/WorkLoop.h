#ifndef TEVROL_WORKLOOP_WORKLOOP_H
#define TEVROL_WORKLOOP_WORKLOOP_H

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "threads/Thread.h"

class Task;

// A queue of tasks worked off one at a time on one thread: its own (Run) or
// a caller's (RunBlocking). Any thread may hand it a task, at once or after a
// delay in milliseconds, with a priority; a greater value runs earlier, and
// a waiting task ages (with age n it stands at its priority + n(n+1)/2,
// saturating at 0xFFFFFFFF, so that the top priority never wraps to the
// bottom), so nothing waits for ever. Tasks of equal priority run in
// hand-over order; delayed tasks never run before their due time (ticks
// compared across the 32-bit wrap), except at shutdown, when they all run at
// once. A hand-over and a pass cost the same whatever the number of tasks
// waiting; a pass grows only with the number of distinct priorities waiting.
//
// Execute and Dispose run on the loop's thread with no lock of the loop
// held, so a task may call every operation of its loop. The loop never
// deletes a Task: Dispose decides (see Task.h for who ends what).
//
// Order of use: CreateInstance, SetFriendlyName and SetPriority if wanted,
// Run; tasks; Shutdown, then DeleteInstance.
class TEVROL_EXPORT WorkLoop {
 public:
  // Used as a plain number; any 32-bit value works. The library queues with 16.
  enum EPriorityValue : std::uint32_t {
    PriorityLowest = 0,
    PriorityNormal = 16,
    PriorityHighest = 0xFFFFFFFFu,
  };

  // The queue id of this hand-over: 1, 2, ... per loop for both operations;
  // 0 when refused (null task, the loop is shutting down, no memory), and
  // then the task is untouched and stays the caller's. Accepted while idle
  // too: a loop can be filled before it runs. A delay of 2^31 ms or more
  // reads as a time in the past, so the task is due at once.
  virtual Tevrol::ULong PerformTask(Task* task, EPriorityValue priority) = 0;
  virtual Tevrol::ULong PerformTaskDelayed(Task* task, Tevrol::ULong delay,
                                           EPriorityValue priority) = 0;
  // Both take effect only before Run, and not at all for RunBlocking.
  virtual bool SetPriority(ThreadPriorities::Priority priority,
                           ThreadPriorities::PriorityType type) = 0;
  virtual bool SetFriendlyName(char const* name) = 0;
  // Starts the loop on its own thread and returns at once; false if it is
  // not idle. A loop runs on its own thread once.
  virtual bool Run() = 0;
  // Starts the drain and never blocks: no new task is accepted, every queued
  // one runs (delayed ones at once, cancelled ones get Dispose only), then
  // `task` (may be null) gets Execute and Dispose last. Returns 1 if tasks
  // were queued, 0 if none, 2 if already shutting down (`task` is then
  // ignored). On an idle loop it only records `task`, which the destruction
  // of the loop then runs, after disposing what is still queued.
  virtual Tevrol::Long Shutdown(Task* task) = 0;
  // The hand-over gets Dispose and no Execute, unless its Execute has begun.
  // Never waits; an unknown id is ignored. A cancelled delayed task keeps its
  // place and gets its Dispose when the tasks before it are due.
  virtual void Cancel(Tevrol::ULong id) = 0;
  // Takes a queued hand-over back without Execute or Dispose; `task` gets the
  // task (null if not found). 0 removed, 1 running now (`task` unwritten),
  // 2 not found, 3 wrong thread (`task` unwritten). Once Run was used, only
  // the loop's own thread may call it.
  virtual Tevrol::Long Remove(Tevrol::ULong id, Task*& task) = 0;
  // Takes back every queued hand-over of `task`, and the shutdown task if it
  // is `task`. 0 removed, 1 `task` is running now (other hand-overs may have
  // gone all the same), 2 not found or null, 3 wrong thread: allowed on an
  // idle loop from any thread, on a running one only from its own Thread
  // (so never on a loop running through RunBlocking).
  virtual Tevrol::Long RemoveAll(Task* task) = 0;
  virtual ~WorkLoop();
  // Runs the loop on the calling thread until it has shut down and drained.
  virtual void RunBlocking() = 0;

  static WorkLoop* CreateInstance();
  // Shuts the loop down, waits until the drain is over (so queued tasks
  // still run), disposes what no run took and frees the loop. Null does
  // nothing.
  // Called from a task of the loop itself (on its own thread, or on the
  // thread of its RunBlocking), it cannot wait for its own thread: it starts
  // the shutdown and returns at once, and the loop frees itself on its
  // thread once the drain and the shutdown task are over (RunBlocking
  // returns after that). Do not use the loop after the call in either case.
  static void DeleteInstance(WorkLoop* loop);
};

#endif
