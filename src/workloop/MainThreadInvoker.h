#ifndef TEVROL_WORKLOOP_MAINTHREADINVOKER_H
#define TEVROL_WORKLOOP_MAINTHREADINVOKER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

class Invokant;

// Runs callbacks one at a time on one common thread; reached through
// MainThreadInvoker_GetInstance (frame/Accessors.h).
//
// Thread: every Invoked and Discarded runs on the invoker's own work loop
// thread, "MainThreadInvoker [FW]", started by the first accessor call. It
// is not the process's first thread, nor ProcessData's main thread.
//
// Order: invocations are delivered first in, first out across all calling
// threads, one at a time: Invoked, then Discarded with the same four values,
// before the next invocation begins. Callbacks run with no lock of the
// invoker held, so they may call Invoke and RemoveInvokant; an invocation
// made from a callback comes after everything already queued.
//
// Life of an Invokant: it must stay alive until it has seen Discarded for
// each of its accepted Invoke calls. The invoker cannot tell; clients count.
//
// At exit: the invoker's destructor drains its queue, so invocations still
// pending at process exit run (Invoked and Discarded), and exit returns once
// the last one has ended. Invoke from such a callback is refused (no
// callbacks). If a callback itself calls exit, exit does not wait for the
// invoker's thread, which it is running on: the process ends from within
// that callback, which gets no Discarded, and the invocations queued behind
// it never run.
class TEVROL_EXPORT MainThreadInvoker {
 public:
  // From any thread, callbacks included. `invokant` must not be null; `data`
  // may be. Has no result: when the invoker cannot take the invocation (no
  // memory, or it is shutting down at exit), it is dropped and neither
  // callback comes for it, so it does not count towards Discarded.
  virtual void Invoke(Invokant* invokant, Tevrol::ULong param1, Tevrol::ULong param2,
                      Tevrol::ULong param3, void* data) = 0;
  // Cancels every invocation of `invokant` that has not begun: each gets
  // Discarded without Invoked, in its queue position. Neither waits for nor
  // stops a callback that is running: Invoked of an invocation that has
  // begun may run while or after this returns, and Discarded is still to come
  // for every accepted invocation. Nothing pending does nothing.
  virtual void RemoveInvokant(Invokant* invokant) = 0;
  virtual ~MainThreadInvoker();
};

#endif
