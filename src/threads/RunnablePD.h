#ifndef TEVROL_THREADS_RUNNABLEPD_H
#define TEVROL_THREADS_RUNNABLEPD_H

#include "frame/TevrolExport.h"

// What ThreadPD runs on its OS thread: Thread implements it.
class TEVROL_EXPORT RunnablePD {
 public:
  virtual void ThreadLoop() = 0;

 protected:
  // Never deleted through this interface.
  ~RunnablePD() = default;
};

#endif
