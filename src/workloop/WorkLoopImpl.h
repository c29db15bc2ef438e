#ifndef TEVROL_WORKLOOP_WORKLOOPIMPL_H
#define TEVROL_WORKLOOP_WORKLOOPIMPL_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "frame/TevrolTypes.h"
#include "threads/CriticalSection.h"
#include "threads/Runnable.h"
#include "threads/SetResetEvent.h"
#include "threads/Thread.h"
#include "workloop/PriorizedQueue.h"
#include "workloop/QueuedTask.h"
#include "workloop/SimpleObjectPoolBase.h"
#include "workloop/WorkLoop.h"

namespace detail {
struct LoopProbe;
}

// Runs posted tasks on one thread, highest effective priority first, and
// delayed tasks when due. Any thread may post, cancel or shut down, also from
// inside a task. Execute and Dispose run on the loop thread with no lock of
// ours held. Lock order: m_lock, then m_thread's state lock, then an event.
//
// Each pass of ExecuteNext takes the head of the priority queue first, then
// ages the rest (moving a record forward only past strictly lower
// priorities), then promotes the due delayed records, then runs its record.
// The ageing is not done record by record: PriorizedQueue knows every
// record's value from the passes it has waited, so a pass costs O(distinct
// priorities waiting). An idle loop sleeps without a time limit, or until
// the delayed head is due.
//
// The loop monitor's hooks (monitor/LoopHooks.h) run after m_lock is
// released; under it a step only takes a time stamp. A hand-over that calls
// a hook counts in m_setsInFlight like one that sets the event.
//
// A hand-over sets the wake event after releasing m_lock, so that the woken
// loop does not meet the lock still taken; m_setsInFlight counts such calls
// between their unlock and the end of their Set, and the loop is not freed
// before it is back at zero.
class WorkLoopImpl : public WorkLoop, public Runnable {
 public:
  using QueuedTask = WorkLoopQueuedTask;
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
  // How a pass ends when the loop has nothing to run now.
  struct IdleWait {
    enum Kind { None, UntilWoken, Timed } kind = None;
    Tevrol::ULong milliseconds = 0;
  };
  // One pass without its idle wait, which it only describes: ExecuteNext is
  // this and the wait. False when the run is over.
  bool ExecutePass(IdleWait& wait);
  // The caller holds m_lock.
  bool HasTasks() const { return !m_priorized.IsEmpty() || m_delayedHead != nullptr; }

  // When called on the thread that is running this loop now: starts the
  // shutdown, asks the run to free the loop when it ends, and returns true.
  bool DeleteWhenRunEnds();

  // For the loop monitor: its record of this loop (null until it needs one),
  // the name, and the hand-overs queued now and at most.
  detail::LoopProbe* GetProbe() const { return m_probe.load(std::memory_order_acquire); }
  void SetProbe(detail::LoopProbe* probe) { m_probe.store(probe, std::memory_order_release); }
  void CopyName(char* out, std::size_t size);
  void GetQueueLengths(Tevrol::ULong& now, Tevrol::ULong& highWater);

  // For tests: records of the pool, the thread.
  Pool& GetPoolForTesting() { return m_pool; }
  Thread& GetThreadForTesting() { return m_thread; }
  // For tests that drive passes themselves (ExecutePass) on the calling
  // thread, as RunBlocking would: the start and the end of a run.
  bool BeginRunForTesting();
  void EndRunForTesting() { static_cast<void>(EndRun()); }
  void SetNextQueueIdForTesting(std::uint64_t next);
  // What stands in the queues, in queue order, with the effective
  // priorities of the priority queue and the due ticks of the delayed one.
  struct Entry {
    Tevrol::ULong queueId;
    Task* task;
    std::uint32_t priorityOrDue;
    bool cancelled;
  };
  void GetQueuesForTesting(std::vector<Entry>& priorized, std::vector<Entry>& delayed);
  // The queue id of the record being executed; 0 between tasks.
  Tevrol::ULong GetCurrentQueueIdForTesting();
  // Stands for a hand-over between its unlock and the end of its Set.
  void HoldWakeSetForTesting() { m_setsInFlight.fetch_add(1); }
  void ReleaseWakeSetForTesting() { m_setsInFlight.fetch_sub(1); }

 private:
  bool InsertPriorizedTask(QueuedTask* record);
  bool InsertDelayedTask(QueuedTask* record);
  // Both queueing operations: the queue id, or 0 when refused.
  Tevrol::ULong Enqueue(Task* task, std::uint32_t priority, bool delayed, Tevrol::ULong delay);
  // `stamp`: the loop monitor is on, and wants to know when each became due.
  void PromoteDueRecords(Tevrol::Tick now, bool stamp);
  static void Unlink(QueuedTask*& head, QueuedTask* record);
  static QueuedTask* FindById(QueuedTask* head, Tevrol::ULong id);
  // The start of a run on the calling thread (under m_lock).
  void BeginRun();
  // The end of a run: the shutdown task, then idle. Gives whether a task of
  // the run asked for the loop's deletion.
  bool EndRun();
  // Until no hand-over is between its unlock and the end of its Set.
  void WaitForSetsInFlight() const;

  CriticalSection m_lock;  // guards everything below but m_thread and the events
  std::uint64_t m_nextQueueId;
  Pool m_pool;
  PriorizedQueue m_priorized;
  std::uint64_t m_passes;  // ageing passes so far: the clock of m_priorized
  QueuedTask* m_delayedHead;
  detail::SetResetEvent m_wakeEvent;  // ends the idle wait
  Tevrol::Long m_state;
  bool m_ownThread;
  Task* m_shutdownTask;
  QueuedTask* m_current;      // the record being executed
  Tevrol::ThreadId m_runner;  // the thread in RunBlockingInternal, 0 between runs
  bool m_deleteWhenRunEnds;
  std::atomic<unsigned> m_setsInFlight;  // raised under m_lock, lowered after the Set
  Tevrol::ULong m_queued;                // hand-overs in the queues
  Tevrol::ULong m_queuedHighWater;
  std::atomic<detail::LoopProbe*> m_probe;
  Thread m_thread;
  detail::SetResetEvent m_shutdownEvent;  // set when a run has ended
};

#endif
