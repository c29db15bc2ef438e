#ifndef TEVROL_FRAME_PROCESSDATAFACTORYIMPL_H
#define TEVROL_FRAME_PROCESSDATAFACTORYIMPL_H

#include "frame/ProcessData.h"
#include "frame/ProcessDataFactory.h"

class ProcessDataFactoryImpl : public ProcessDataFactory {
 public:
  ProcessData* GetProcessData() override;

 private:
  ProcessData m_processData;  // built with the factory, so on the first caller's thread
};

#endif
