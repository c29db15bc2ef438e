#ifndef TEVROL_WORKLOOP_WORKLOOPIMPL_H
#define TEVROL_WORKLOOP_WORKLOOPIMPL_H

#include <cstdint>

#include "frame/TevrolTypes.h"
#include "threads/CriticalSection.h"
#include "threads/Runnable.h"
#include "threads/SetResetEvent.h"
#include "threads/Thread.h"
#include "workloop/SimpleObjectPoolBase.h"
#include "workloop/WorkLoop.h"

// Runs posted tasks on one thread, highest effective priority first, and
// delayed tasks when due. Any thread may post, cancel or shut down, also from
// inside a task. Execute and Dispose run on the loop thread with no lock of
// ours held. Lock order: m_lock, then m_thread's state lock, then an event.
//
// Each pass of ExecuteNext takes the head of the priority queue first, then
// ages the rest (moving a record forward only past strictly lower
// priorities), then promotes the due delayed records, then runs its record.
// An idle loop sleeps without a time limit, or until the delayed head is due.
class WorkLoopImpl : public WorkLoop, public Runnable {
 public:
  // One hand-over; it stands in one queue, is running, or is free.
  struct QueuedTask {
    QueuedTask* m_next;  // towards the tail
    QueuedTask* m_prev;  // towards the head
    std::uint32_t m_effectivePriority;
    Tevrol::ULong m_queueId;
    bool m_cancelled;
    std::uint32_t m_dueOrAge;  // delayed queue: due tick; priority queue: age
    Task* m_task;              // not owned
  };
  using Pool =
      SimpleObjectPoolBase<QueuedTask, DefaultHeap<TevrolMultiThreadAllocDescriptor>,
                           PIAlloc<PICommonAllocDescriptors::ObjectPool, PIDefaultAllocator>>;

  enum LoopState { LoopIdle = 0, LoopRunning = 1, LoopShuttingDown = 2 };

  WorkLoopImpl();
  // Not on the loop's own thread (DeleteInstance takes care of that case).
  ~WorkLoopImpl() override;

  Tevrol::ULong PerformTask(Task* task, EPriorityValue priority) override;
  Tevrol::ULong PerformTaskDelayed(Task* task, Tevrol::ULong delay,
                                   EPriorityValue priority) override;
  bool SetPriority(ThreadPriorities::Priority priority,
                   ThreadPriorities::PriorityType type) override;
  bool SetFriendlyName(char const* name) override;
  bool Run() override;
  Tevrol::Long Shutdown(Task* task) override;
  void Cancel(Tevrol::ULong id) override;
  Tevrol::Long Remove(Tevrol::ULong id, Task*& task) override;
  Tevrol::Long RemoveAll(Task* task) override;
  void RunBlocking() override;

  void WorkingLoop(Thread* thread) override;
  // The last call of the loop's OS thread: a loop that was deleted from its
  // own task frees itself here.
  void StoppingEvent() override;

  // One run: the tasks until a shutdown has drained them, then the shutdown
  // task. Gives whether a task of the run asked for the loop's deletion, read
  // in the same step that ends the run: once m_shutdownEvent is set, a
  // destructor on another thread may go on, so the run touches nothing of
  // the object after that step.
  bool RunBlockingInternal();
  // One pass; false when the run is over.
  bool ExecuteNext();
  // The caller holds m_lock.
  bool HasTasks() const { return m_priorizedHead != nullptr || m_delayedHead != nullptr; }

  // When called on the thread that is running this loop now: starts the
  // shutdown, asks the run to free the loop when it ends, and returns true.
  bool DeleteWhenRunEnds();

  // For tests: records of the pool, the thread.
  Pool& GetPoolForTesting() { return m_pool; }
  Thread& GetThreadForTesting() { return m_thread; }

 private:
  bool InsertPriorizedTask(QueuedTask* record);
  bool InsertDelayedTask(QueuedTask* record);
  // Both queueing operations: the queue id, or 0 when refused.
  Tevrol::ULong Enqueue(Task* task, std::uint32_t priority, bool delayed, Tevrol::ULong delay);
  void AgePriorityQueue();
  void PromoteDueRecords(Tevrol::Tick now);
  static void Unlink(QueuedTask*& head, QueuedTask* record);
  static QueuedTask* FindById(QueuedTask* head, Tevrol::ULong id);

  CriticalSection m_lock;  // guards everything below but m_thread and the events
  std::uint64_t m_nextQueueId;
  Pool m_pool;
  QueuedTask* m_priorizedHead;
  QueuedTask* m_delayedHead;
  detail::SetResetEvent m_wakeEvent;  // ends the idle wait
  Tevrol::Long m_state;
  bool m_ownThread;
  Task* m_shutdownTask;
  QueuedTask* m_current;      // the record being executed
  Tevrol::ThreadId m_runner;  // the thread in RunBlockingInternal, 0 between runs
  bool m_deleteWhenRunEnds;
  Thread m_thread;
  detail::SetResetEvent m_shutdownEvent;  // set when a run has ended
};

#endif
