#ifndef TEVROL_FRAME_PROCESSDATA_H
#define TEVROL_FRAME_PROCESSDATA_H

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Facts about the process, fixed at construction. The "main thread" is the
// thread that made the first call of ProcessDataFactory_GetInstance, not
// necessarily the process's first thread: a client that wants it to be the
// first thread makes that call there before starting others. Nothing in the
// library consults it.
class TEVROL_EXPORT ProcessData {
 public:
  ProcessData();
  virtual ~ProcessData();

  // Does nothing; always true.
  bool Initialize();
  bool IsMainThread();

 private:
  Tevrol::ThreadId m_mainThreadId;
  std::int32_t m_deviceType;  // never read by the library
};

#endif
