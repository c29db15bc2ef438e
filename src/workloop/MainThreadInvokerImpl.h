#ifndef TEVROL_WORKLOOP_MAINTHREADINVOKERIMPL_H
#define TEVROL_WORKLOOP_MAINTHREADINVOKERIMPL_H

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIList.h"
#include "frame/containers/PIObjectExtL.h"
#include "threads/CriticalSection.h"
#include "workloop/Invokant.h"
#include "workloop/MainThreadInvoker.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

class MainThreadInvokerImpl;

// One invocation, made on the heap by Invoke; it deletes itself in Dispose.
class InvokantTask : public Task {
 public:
  InvokantTask(Invokant* invokant, Tevrol::ULong param1, Tevrol::ULong param2, Tevrol::ULong param3,
               void* data, MainThreadInvokerImpl* owner);
  // Leaves the owner's pending list, then Invoked, with no lock held.
  void Execute() override;
  // Discarded, then the task is gone.
  void Dispose() override;

  Invokant* m_invokant;  // not owned, never null
  Tevrol::ULong m_param1;
  Tevrol::ULong m_param2;
  Tevrol::ULong m_param3;
  void* m_data;  // not owned
  MainThreadInvokerImpl* m_owner;
  Tevrol::ULong m_workLoopTaskId;  // 0 until the loop has taken the task
};

// Owns a work loop running on its own thread; every invocation is a task
// queued there at normal priority, so ageing keeps them in Invoke order.
// Lock order: m_lock, then the work loop's lock.
class MainThreadInvokerImpl : public MainThreadInvoker {
 public:
  MainThreadInvokerImpl();
  // Shuts the loop down and waits until every pending invocation has ended,
  // unless called on the loop's own thread (exit from a callback): then it
  // returns at once and the loop is left to the ending process.
  ~MainThreadInvokerImpl() override;
  MainThreadInvokerImpl(MainThreadInvokerImpl const&) = delete;
  MainThreadInvokerImpl& operator=(MainThreadInvokerImpl const&) = delete;

  void Invoke(Invokant* invokant, Tevrol::ULong param1, Tevrol::ULong param2, Tevrol::ULong param3,
              void* data) override;
  void RemoveInvokant(Invokant* invokant) override;
  // Takes `task` out of m_pending if it is there; called by its Execute.
  void RemoveInvokantTask(InvokantTask* task);
  // The loop the invocations run on (for the loop monitor).
  WorkLoop* GetWorkLoop() { return m_workLoop; }

 private:
  using PendingList = PIList<InvokantTask*, InvokantTask*, NullLocking,
                             PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;

  WorkLoop* m_workLoop;    // owned
  CriticalSection m_lock;  // guards m_pending and the hand-over to the loop
  PendingList m_pending;   // not yet begun; the newest at the head
};

#endif
