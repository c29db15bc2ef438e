#ifndef TEVROL_THREADS_THREADHELPER_H
#define TEVROL_THREADS_THREADHELPER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

class TEVROL_EXPORT ThreadHelper {
 public:
  // Kept for clients; inside the library the id 0 stands for "no thread".
  static const Tevrol::ULong INVALID_THREAD_ID = 0xFFFFFFFFu;

  static Tevrol::ThreadId GetCurrentThreadID();
  // Sleeps milliseconds * 1000 microseconds, the product taken in 32 bits:
  // more than 4294967 ms wraps and sleeps for less.
  static void Sleep(Tevrol::ULong milliseconds);
  // The same tick as PDStdOperations::GetTickCount.
  static Tevrol::Tick GetTickCount();
};

#endif
