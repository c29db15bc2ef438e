#include "workloop/MainThreadInvokerImpl.h"

#include <new>

#include "frame/Accessors.h"
#include "monitor/LoopHooks.h"

namespace {
// Every invocation is a Task, and a Task names itself through the id
// provider: bring that up first, so it outlives the invoker at exit.
WorkLoop* CreateLoop() {
  TevrolIdProvider_GetInstance();
  return WorkLoop::CreateInstance();
}
}  // namespace

Invokant::~Invokant() = default;

void Invokant::Reserved() {}

MainThreadInvoker::~MainThreadInvoker() = default;

InvokantTask::InvokantTask(Invokant* invokant, Tevrol::ULong param1, Tevrol::ULong param2,
                           Tevrol::ULong param3, void* data, MainThreadInvokerImpl* owner)
    : m_invokant(invokant),
      m_param1(param1),
      m_param2(param2),
      m_param3(param3),
      m_data(data),
      m_owner(owner),
      m_workLoopTaskId(0) {}

void InvokantTask::Execute() {
  m_owner->RemoveInvokantTask(this);
  const bool monitor = detail::MonitorFlags() != 0;
  if (monitor) {
    detail::MonitorInvokeStart(m_invokant);
  }
  m_invokant->Invoked(m_param1, m_param2, m_param3, m_data);
  if (monitor) {
    detail::MonitorInvokeEnd();
  }
}

void InvokantTask::Dispose() {
  m_invokant->Discarded(m_param1, m_param2, m_param3, m_data);
  delete this;
}

MainThreadInvokerImpl::MainThreadInvokerImpl() : m_workLoop(CreateLoop()), m_pending(10) {
  m_workLoop->SetFriendlyName("MainThreadInvoker [FW]");
  m_workLoop->Run();
}

MainThreadInvokerImpl::~MainThreadInvokerImpl() {
  // The process ends: the loop monitor stops before the service loops drain.
  detail::MonitorProcessEnding();
  m_workLoop->Shutdown(nullptr);
  WorkLoop::DeleteInstance(m_workLoop);
  m_workLoop = nullptr;
}

void MainThreadInvokerImpl::Invoke(Invokant* invokant, Tevrol::ULong param1, Tevrol::ULong param2,
                                   Tevrol::ULong param3, void* data) {
  InvokantTask* const task =
      new (std::nothrow) InvokantTask(invokant, param1, param2, param3, data, this);
  if (task == nullptr) {
    return;
  }
  // Held over both steps: a task that starts at once waits in Execute until
  // it stands in m_pending with its id.
  m_lock.Lock();
  const Tevrol::ULong id = m_workLoop->PerformTask(task, WorkLoop::PriorityNormal);
  if (id != 0) {
    task->m_workLoopTaskId = id;
    m_pending.AddHead(task);
  }
  m_lock.Unlock();
  if (id == 0) {
    delete task;  // refused by the loop: it would never run, so drop it without callbacks
  }
}

void MainThreadInvokerImpl::RemoveInvokant(Invokant* invokant) {
  m_lock.Lock();
  for (PendingList::CNode* node = m_pending.m_head; node != nullptr;) {
    PendingList::CNode* const next = node->m_next;
    if (node->m_value->m_invokant == invokant) {
      m_workLoop->Cancel(node->m_value->m_workLoopTaskId);
      m_pending.RemoveAt(node);
    }
    node = next;
  }
  m_lock.Unlock();
}

void MainThreadInvokerImpl::RemoveInvokantTask(InvokantTask* task) {
  m_lock.Lock();
  m_pending.RemoveAt(m_pending.Find(task));
  m_lock.Unlock();
}

MainThreadInvoker* MainThreadInvoker_GetInstance() {
  static MainThreadInvokerImpl s_instance;
  return &s_instance;
}
