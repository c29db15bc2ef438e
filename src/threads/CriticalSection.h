#ifndef TEVROL_THREADS_CRITICALSECTION_H
#define TEVROL_THREADS_CRITICALSECTION_H

#include <pthread.h>

#include "frame/TevrolExport.h"

// The recursive lock used throughout the library. The owning thread may lock
// it again and must unlock it as often. The mutex lives on the heap, so the
// object is neither copied nor assigned.
class TEVROL_EXPORT CriticalSection {
 public:
  CriticalSection();
  ~CriticalSection();
  CriticalSection(CriticalSection const&) = delete;
  CriticalSection& operator=(CriticalSection const&) = delete;

  // Both return the POSIX result, which no caller needs to look at.
  int Lock();
  int Unlock();

 private:
  pthread_mutex_t* m_mutex;  // owned; null only after destruction
};

#endif
