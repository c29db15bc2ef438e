#include "frame/ProcessDataFactoryImpl.h"

#include "frame/Accessors.h"

ProcessDataFactory::~ProcessDataFactory() = default;

ProcessData* ProcessDataFactoryImpl::GetProcessData() {
  return &m_processData;
}

ProcessDataFactory* ProcessDataFactory_GetInstance() {
  static ProcessDataFactoryImpl s_instance;
  return &s_instance;
}
