#ifndef TEVROL_WORKLOOP_INVOKANT_H
#define TEVROL_WORKLOOP_INVOKANT_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// A callback of the MainThreadInvoker, implemented by clients. Both
// operations get the four values given to Invoke, untouched, and run on the
// invoker's own thread (see MainThreadInvoker.h), never two at a time.
//
// Invoked is the invocation itself; it does not come for a cancelled one.
// Discarded ends every accepted invocation, run or cancelled, after its
// Invoked if there was one. The object must stay alive until it has seen
// Discarded once for each of its accepted Invoke calls.
class TEVROL_EXPORT Invokant {
 public:
  virtual ~Invokant();
  // Kept free for later use; does nothing.
  virtual void Reserved();
  virtual void Invoked(Tevrol::ULong param1, Tevrol::ULong param2, Tevrol::ULong param3,
                       void* data) = 0;
  virtual void Discarded(Tevrol::ULong param1, Tevrol::ULong param2, Tevrol::ULong param3,
                         void* data) = 0;
};

#endif
