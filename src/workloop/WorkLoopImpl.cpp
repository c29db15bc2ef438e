#include "workloop/WorkLoopImpl.h"

#include <cstdio>
#include <thread>

#include "frame/AmbientClassification.h"
#include "frame/text/TxString.h"
#include "monitor/LoopHooks.h"
#include "threads/ThreadHelper.h"
#include "threads/Tick.h"
#include "threads/VirtualClock.h"
#include "workloop/Task.h"

WorkLoop::~WorkLoop() = default;

WorkLoop* WorkLoop::CreateInstance() {
  return new WorkLoopImpl;
}

void WorkLoop::DeleteInstance(WorkLoop* loop) {
  if (loop == nullptr) {
    return;
  }
  // Every WorkLoop is a WorkLoopImpl: CreateInstance is the only way to get one.
  if (static_cast<WorkLoopImpl*>(loop)->DeleteWhenRunEnds()) {
    return;
  }
  delete loop;
}

WorkLoopImpl::WorkLoopImpl()
    : m_nextQueueId(1),
      m_passes(0),
      m_delayedHead(nullptr),
      m_state(LoopIdle),
      m_ownThread(false),
      m_shutdownTask(nullptr),
      m_current(nullptr),
      m_runner(0),
      m_deleteWhenRunEnds(false),
      m_setsInFlight(0),
      m_queued(0),
      m_queuedHighWater(0),
      m_probe(nullptr),
      m_thread(nullptr) {
  m_thread.GetPlatformThread().SetFriendlyName("WL [noname]");
  m_thread.SetRunnable(this);
  detail::VirtualLoopCreated();
}

WorkLoopImpl::~WorkLoopImpl() {
  // A shutdown task given to an idle loop is run here, after the records no
  // run took have been disposed: no run is left to call it, and its Dispose
  // may be what frees it.
  m_lock.Lock();
  Task* const idleShutdownTask = m_state == LoopIdle ? m_shutdownTask : nullptr;
  m_lock.Unlock();

  WorkLoopImpl::Shutdown(nullptr);  // this class's own, as in any destructor
  m_lock.Lock();
  const Tevrol::Long state = m_state;
  const bool ownThread = m_ownThread;
  m_lock.Unlock();
  if (state != LoopIdle) {
    if (ownThread) {
      m_thread.Stop();  // joins when the drain is over
    } else {
      m_shutdownEvent.Wait();  // until RunBlocking on the other thread has finished
      // It sets the event under m_lock: once the lock is free again, that
      // thread has let go of every member.
      m_lock.Lock();
      m_lock.Unlock();
    }
  }

  // A hand-over may still be setting the event after its unlock (a task it
  // queued may have led to this deletion).
  WaitForSetsInFlight();

  // What no run took gets Dispose, in queue order, priority queue first.
  // The order is fixed before the first call: a record queued by a Dispose
  // here only vanishes with the pool.
  QueuedTask* order = nullptr;
  QueuedTask** tail = &order;
  while (QueuedTask* record = m_priorized.Head(m_passes)) {
    m_priorized.Unlink(record);
    *tail = record;
    tail = &record->m_next;
  }
  *tail = m_delayedHead;
  m_delayedHead = nullptr;
  for (QueuedTask* record = order; record != nullptr;) {
    QueuedTask* const next = record->m_next;
    m_current = record;
    record->m_task->Dispose();
    record = next;
  }
  m_current = nullptr;
  if (idleShutdownTask != nullptr) {
    idleShutdownTask->Execute();
    idleShutdownTask->Dispose();
  }
  detail::MonitorLoopGone(this);
  detail::VirtualLoopDestroyed();
}

Tevrol::ULong WorkLoopImpl::Enqueue(Task* task, std::uint32_t priority, bool delayed,
                                    Tevrol::ULong delay) {
  if (task == nullptr) {
    return 0;
  }
  const unsigned monitor = detail::MonitorFlags();
  // The task may be gone once it is queued: its name is read before.
  char name[32];
  name[0] = '\0';
  if ((monitor & detail::kMonitorTrace) != 0) {
    std::snprintf(name, sizeof name, "%s", task->GetFriendlyName());
  }
  m_lock.Lock();
  QueuedTask* const record = m_state == LoopShuttingDown ? nullptr : m_pool.Alloc();
  if (record == nullptr) {
    m_lock.Unlock();
    return 0;
  }
  record->m_priority = priority;
  record->m_cancelled = false;
  record->m_due = delayed ? ThreadHelper::GetTickCount() + delay : 0;
  // Under m_lock, so that the hand-over is stamped before the loop can start it.
  const std::uint64_t handedOverAt = monitor != 0 ? detail::MonitorNowMicros() : 0;
  record->m_dueStamp = monitor != 0 && !delayed ? detail::MonitorDueStamp(handedOverAt) : 0;
  record->m_task = task;
  record->m_queueId = static_cast<Tevrol::ULong>(m_nextQueueId++);
  const bool wake = delayed ? InsertDelayedTask(record) : InsertPriorizedTask(record);
  const Tevrol::ULong id = record->m_queueId;
  const Tevrol::ULong queued = ++m_queued;
  // Only while watched: the compare shows in the cost of a bare hand-over.
  if (monitor != 0 && queued > m_queuedHighWater) {
    m_queuedHighWater = queued;
  }
  const bool guard = wake || monitor != 0;
  if (guard) {
    m_setsInFlight.fetch_add(1, std::memory_order_relaxed);
  }
  m_lock.Unlock();
  if (guard) {
    // The loop looks at the queues and resets the event under m_lock, so a
    // Set after the unlock still ends a wait that began without this record.
    // The loop is not freed before m_setsInFlight is back at zero, so the
    // event may wake the loop after its own unlock too.
    if (wake) {
      m_wakeEvent.SetWakingAfterUnlock();
    }
    if (monitor != 0) {
      detail::MonitorHandOver(this, name, id, priority, queued, handedOverAt);
    }
    m_setsInFlight.fetch_sub(1, std::memory_order_release);  // the last touch of the loop
  }
  return id;
}

Tevrol::ULong WorkLoopImpl::PerformTask(Task* task, EPriorityValue priority) {
  return Enqueue(task, priority, false, 0);
}

Tevrol::ULong WorkLoopImpl::PerformTaskDelayed(Task* task, Tevrol::ULong delay,
                                               EPriorityValue priority) {
  return Enqueue(task, priority, true, delay);
}

bool WorkLoopImpl::InsertPriorizedTask(QueuedTask* record) {
  // Only an empty queue needs a wake-up: the loop never sleeps while it holds a record.
  return m_priorized.Insert(record, m_passes);
}

bool WorkLoopImpl::InsertDelayedTask(QueuedTask* record) {
  if (m_delayedHead == nullptr) {
    m_delayedHead = record;
    return true;
  }
  if (detail::TickIsLater(m_delayedHead->m_due, record->m_due)) {
    record->m_next = m_delayedHead;
    m_delayedHead->m_prev = record;
    m_delayedHead = record;
    return true;  // the loop may sleep until the old head's time
  }
  QueuedTask* last = m_delayedHead;
  while (last->m_next != nullptr && !detail::TickIsLater(last->m_next->m_due, record->m_due)) {
    last = last->m_next;
  }
  record->m_prev = last;
  record->m_next = last->m_next;
  if (last->m_next != nullptr) {
    last->m_next->m_prev = record;
  }
  last->m_next = record;
  return false;
}

void WorkLoopImpl::Unlink(QueuedTask*& head, QueuedTask* record) {
  if (record->m_prev != nullptr) {
    record->m_prev->m_next = record->m_next;
  } else {
    head = record->m_next;
  }
  if (record->m_next != nullptr) {
    record->m_next->m_prev = record->m_prev;
  }
  record->m_next = nullptr;
  record->m_prev = nullptr;
}

WorkLoopImpl::QueuedTask* WorkLoopImpl::FindById(QueuedTask* head, Tevrol::ULong id) {
  while (head != nullptr && head->m_queueId != id) {
    head = head->m_next;
  }
  return head;
}

void WorkLoopImpl::Cancel(Tevrol::ULong id) {
  bool found = true;
  m_lock.Lock();
  if (QueuedTask* record = m_priorized.FindById(id, m_passes)) {
    record->m_cancelled = true;
  } else if (QueuedTask* delayed = FindById(m_delayedHead, id)) {
    // It keeps its place: it leaves when the records before it are due.
    delayed->m_cancelled = true;
    delayed->m_due = ThreadHelper::GetTickCount();
  } else {
    found = false;
  }
  m_lock.Unlock();
  if (found && detail::MonitorFlags() != 0) {
    detail::MonitorLoopEvent(this, detail::LoopEvent::Cancel, id);
  }
}

Tevrol::Long WorkLoopImpl::Remove(Tevrol::ULong id, Task*& task) {
  m_lock.Lock();
  const Tevrol::ThreadId loopThread = m_thread.GetThreadId();
  if (loopThread != 0 && loopThread != ThreadHelper::GetCurrentThreadID()) {
    m_lock.Unlock();
    return 3;
  }
  if (m_current != nullptr && m_current->m_queueId == id) {
    m_lock.Unlock();
    return 1;
  }
  task = nullptr;
  QueuedTask* record = m_priorized.FindById(id, m_passes);
  if (record != nullptr) {
    m_priorized.Unlink(record);
  } else {
    record = FindById(m_delayedHead, id);
    if (record == nullptr) {
      m_lock.Unlock();
      return 2;
    }
    Unlink(m_delayedHead, record);
  }
  task = record->m_task;
  m_pool.Free(record);
  --m_queued;
  m_lock.Unlock();
  if (detail::MonitorFlags() != 0) {
    detail::MonitorLoopEvent(this, detail::LoopEvent::Remove, id);
  }
  return 0;
}

Tevrol::Long WorkLoopImpl::RemoveAll(Task* task) {
  m_lock.Lock();
  if (m_state != LoopIdle && m_thread.GetThreadId() != ThreadHelper::GetCurrentThreadID()) {
    m_lock.Unlock();
    return 3;
  }
  if (task == nullptr) {
    m_lock.Unlock();
    return 2;
  }
  Tevrol::Long result = 2;
  if (task == m_shutdownTask) {
    m_shutdownTask = nullptr;
    result = 0;
  }
  m_priorized.ForEachUnordered([&](QueuedTask* record) {
    if (record->m_task == task) {
      m_priorized.Unlink(record);
      m_pool.Free(record);
      --m_queued;
      result = 0;
    }
  });
  for (QueuedTask* record = m_delayedHead; record != nullptr;) {
    QueuedTask* const next = record->m_next;
    if (record->m_task == task) {
      Unlink(m_delayedHead, record);
      m_pool.Free(record);
      --m_queued;
      result = 0;
    }
    record = next;
  }
  if (m_current != nullptr && m_current->m_task == task) {
    result = 1;
  }
  m_lock.Unlock();
  return result;
}

bool WorkLoopImpl::SetPriority(ThreadPriorities::Priority priority,
                               ThreadPriorities::PriorityType type) {
  m_thread.SetPriority(priority, type);
  return true;
}

bool WorkLoopImpl::SetFriendlyName(char const* name) {
  m_thread.GetPlatformThread().SetFriendlyName(name);
  return true;
}

bool WorkLoopImpl::Run() {
  m_lock.Lock();
  if (m_state != LoopIdle) {
    m_lock.Unlock();
    return false;
  }
  m_state = LoopRunning;
  m_ownThread = true;
  detail::VirtualLoopThreadOwed();  // busy from now, so an advance waits for its start
  m_thread.Start();
  m_lock.Unlock();
  return true;
}

void WorkLoopImpl::RunBlocking() {
  m_lock.Lock();
  if (m_state != LoopIdle) {
    m_lock.Unlock();
    return;
  }
  m_ownThread = false;
  m_state = LoopRunning;
  m_lock.Unlock();
  if (RunBlockingInternal()) {
    delete this;  // asked for by a task of this run; nothing touches the object after this
  }
}

Tevrol::Long WorkLoopImpl::Shutdown(Task* task) {
  m_lock.Lock();
  if (m_state == LoopShuttingDown) {
    m_lock.Unlock();
    return 2;
  }
  m_shutdownTask = task;
  if (m_state == LoopRunning) {
    m_state = LoopShuttingDown;
    m_shutdownEvent.Reset();
    m_wakeEvent.Set();
  }
  const Tevrol::Long result = HasTasks() ? 1 : 0;
  m_lock.Unlock();
  if (detail::MonitorFlags() != 0) {
    detail::MonitorLoopEvent(this, detail::LoopEvent::Shutdown, 0);
  }
  return result;
}

bool WorkLoopImpl::DeleteWhenRunEnds() {
  m_lock.Lock();
  const bool onOwnRun = m_runner != 0 && m_runner == ThreadHelper::GetCurrentThreadID();
  if (onOwnRun) {
    m_deleteWhenRunEnds = true;
  }
  m_lock.Unlock();
  if (onOwnRun) {
    Shutdown(nullptr);
  }
  return onOwnRun;
}

void WorkLoopImpl::WorkingLoop(Thread* thread) {
  {
    char friendlyName[ThreadPD::kMaxNameLength + 1];
    thread->GetPlatformThread().CopyFriendlyName(friendlyName, sizeof friendlyName);
    TxString name("WL_");
    name += friendlyName;
    TxByteArray const bytes = name.ToAscii();
    Ambient::Classification::ScopedId(Ambient::Classification::ModuleId(bytes), 0, nullptr, -1);
  }
  // The own thread ends through StoppingEvent, which reads the deletion wish.
  static_cast<void>(RunBlockingInternal());
  thread->EndFromRunnable();
}

void WorkLoopImpl::StoppingEvent() {
  m_lock.Lock();
  const bool deleteNow = m_deleteWhenRunEnds;
  m_lock.Unlock();
  if (deleteNow) {
    // Thread::ThreadLoop touches nothing of the Thread after this call, so
    // the loop may go, its Thread with it (which detaches its own OS thread).
    delete this;
  }
}

void WorkLoopImpl::BeginRun() {
  m_lock.Lock();
  m_runner = ThreadHelper::GetCurrentThreadID();
  m_lock.Unlock();
}

bool WorkLoopImpl::EndRun() {
  m_lock.Lock();
  Task* const shutdownTask = m_shutdownTask;
  m_lock.Unlock();
  if (shutdownTask != nullptr) {
    shutdownTask->Execute();
    shutdownTask->Dispose();
  }
  m_lock.Lock();
  m_shutdownTask = nullptr;
  m_state = LoopIdle;
  m_runner = 0;
  const bool deleteNow = m_deleteWhenRunEnds;
  m_shutdownEvent.Set();
  m_lock.Unlock();
  return deleteNow;
}

bool WorkLoopImpl::RunBlockingInternal() {
  m_lock.Lock();
  const bool owed = m_ownThread;
  m_lock.Unlock();
  detail::VirtualLoopRunBegins(owed);
  BeginRun();
  while (ExecuteNext()) {
  }
  const bool deleteNow = EndRun();
  // Nothing of the object is touched after EndRun: it may be gone.
  detail::VirtualLoopRunEnds();
  return deleteNow;
}

void WorkLoopImpl::WaitForSetsInFlight() const {
  // Such a call is a few instructions away from its end and takes no lock.
  while (m_setsInFlight.load(std::memory_order_acquire) != 0) {
    std::this_thread::yield();
  }
}

void WorkLoopImpl::PromoteDueRecords(Tevrol::Tick now, bool stamp) {
  std::uint32_t dueStamp = 0;
  while (m_delayedHead != nullptr) {
    QueuedTask* const record = m_delayedHead;
    if (detail::TickIsLater(record->m_due, now) && m_state != LoopShuttingDown) {
      break;
    }
    Unlink(m_delayedHead, record);
    if (stamp && dueStamp == 0) {
      dueStamp = detail::MonitorDueStamp(detail::MonitorNowMicros());
    }
    record->m_dueStamp = dueStamp;
    InsertPriorizedTask(record);
  }
}

bool WorkLoopImpl::ExecuteNext() {
  IdleWait wait;
  if (!ExecutePass(wait)) {
    return false;
  }
  if (wait.kind == IdleWait::UntilWoken) {
    m_wakeEvent.Wait();
  } else if (wait.kind == IdleWait::Timed) {
    m_wakeEvent.WaitFor(wait.milliseconds);
  }
  return true;
}

bool WorkLoopImpl::ExecutePass(IdleWait& wait) {
  wait = IdleWait();
  const unsigned monitor = detail::MonitorFlags();
  m_lock.Lock();
  if (m_state == LoopShuttingDown && !HasTasks()) {
    m_lock.Unlock();
    return false;
  }
  // The record to run is chosen before ageing and promotion.
  QueuedTask* const record = m_priorized.Head(m_passes);
  if (record != nullptr) {
    m_priorized.Unlink(record);
    --m_queued;
  }
  const Tevrol::ULong queued = m_queued;
  const Tevrol::Tick now = ThreadHelper::GetTickCount();
  ++m_passes;  // ages every waiting record by one pass
  PromoteDueRecords(now, monitor != 0);
  m_current = record;
  m_lock.Unlock();

  if (record != nullptr) {
    const bool execute = !record->m_cancelled;
    if (monitor != 0) {
      detail::MonitorTaskStart(this, record->m_task, record->m_queueId, record->m_priority,
                               record->m_dueStamp, queued);
    }
    if (execute) {
      record->m_task->Execute();
    }
    if (monitor != 0) {
      detail::MonitorExecuteEnd(this, execute);
    }
    record->m_task->Dispose();
    if (monitor != 0) {
      detail::MonitorTaskEnd(this);
    }
  }

  m_lock.Lock();
  if (record != nullptr) {
    m_current = nullptr;
    m_pool.Free(record);
  }
  if (!m_priorized.IsEmpty() || m_state == LoopShuttingDown) {
    m_lock.Unlock();
    return true;
  }
  // Reset under m_lock after the last look at the queues: every queueing
  // operation changes them under m_lock and sets the event after that, so
  // no wake-up is lost.
  m_wakeEvent.Reset();
  if (m_delayedHead == nullptr) {
    wait.kind = IdleWait::UntilWoken;
  } else {
    const std::int32_t remaining =
        detail::TickDifference(m_delayedHead->m_due, ThreadHelper::GetTickCount());
    if (remaining > 0) {
      wait.kind = IdleWait::Timed;
      wait.milliseconds = static_cast<Tevrol::ULong>(remaining);
    }
  }
  m_lock.Unlock();
  return true;
}

bool WorkLoopImpl::BeginRunForTesting() {
  m_lock.Lock();
  const bool idle = m_state == LoopIdle;
  if (idle) {
    m_ownThread = false;
    m_state = LoopRunning;
  }
  m_lock.Unlock();
  if (idle) {
    BeginRun();
  }
  return idle;
}

void WorkLoopImpl::SetNextQueueIdForTesting(std::uint64_t next) {
  m_lock.Lock();
  m_nextQueueId = next;
  m_lock.Unlock();
}

void WorkLoopImpl::GetQueuesForTesting(std::vector<Entry>& priorized, std::vector<Entry>& delayed) {
  m_lock.Lock();
  priorized.clear();
  delayed.clear();
  for (QueuedTask* record : m_priorized.InOrder(m_passes)) {
    priorized.push_back({record->m_queueId, record->m_task,
                         PriorizedQueue::EffectivePriority(record, m_passes), record->m_cancelled});
  }
  for (QueuedTask* record = m_delayedHead; record != nullptr; record = record->m_next) {
    delayed.push_back({record->m_queueId, record->m_task, record->m_due, record->m_cancelled});
  }
  m_lock.Unlock();
}

Tevrol::ULong WorkLoopImpl::GetCurrentQueueIdForTesting() {
  m_lock.Lock();
  const Tevrol::ULong id = m_current != nullptr ? m_current->m_queueId : 0;
  m_lock.Unlock();
  return id;
}

void WorkLoopImpl::CopyName(char* out, std::size_t size) {
  m_thread.GetPlatformThread().CopyFriendlyName(out, size);
}

void WorkLoopImpl::GetQueueLengths(Tevrol::ULong& now, Tevrol::ULong& highWater) {
  m_lock.Lock();
  now = m_queued;
  highWater = m_queuedHighWater;
  m_lock.Unlock();
}
