#ifndef TEVROL_FRAME_PROCESSDATAFACTORY_H
#define TEVROL_FRAME_PROCESSDATAFACTORY_H

#include "frame/TevrolExport.h"

class ProcessData;

// Hands out the one ProcessData of the process; reached through
// ProcessDataFactory_GetInstance().
class TEVROL_EXPORT ProcessDataFactory {
 public:
  // The pointer stays good until the singleton is destroyed at exit.
  virtual ProcessData* GetProcessData() = 0;
  virtual ~ProcessDataFactory();
};

#endif
