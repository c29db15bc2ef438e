#ifndef TEVROL_WORKLOOP_QUEUEDTASK_H
#define TEVROL_WORKLOOP_QUEUEDTASK_H

#include <cstdint>

#include "frame/TevrolTypes.h"

class Task;

// One hand-over to a work loop (WorkLoopImpl::QueuedTask); it stands in one
// queue, is running, or is free. A plain record: the pool hands it out with
// m_next and m_prev null and every other field as it was.
// 64 bytes on 64-bit hosts: one cache line a hand-over.
struct WorkLoopQueuedTask {
  // In the delayed queue: the neighbours towards the tail and the head. In
  // the priority queue: the neighbours in the lane of its priority.
  WorkLoopQueuedTask* m_next;
  WorkLoopQueuedTask* m_prev;
  Task* m_task;  // not owned
  union {
    Tevrol::Tick m_due;           // in the delayed queue: the due tick
    std::uint64_t m_enteredPass;  // in the priority queue: the pass count when it entered
  };
  Tevrol::ULong m_queueId;
  std::uint32_t m_priority;  // as given by the caller
  bool m_cancelled;
  // When it became due, for the loop monitor (LoopHooks.h); 0 when not stamped.
  std::uint32_t m_dueStamp;
  // Kept up to date in the first record of a lane only (PriorizedQueue).
  WorkLoopQueuedTask* m_laneTail;
  WorkLoopQueuedTask* m_laneNext;
};
static_assert(sizeof(void*) != 8 || sizeof(WorkLoopQueuedTask) == 64, "one cache line a record");

#endif
