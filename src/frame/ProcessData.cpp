#include "frame/ProcessData.h"

#include <pthread.h>

#include "frame/OSDeviceInvestigator.h"

ProcessData::ProcessData()
    : m_mainThreadId(static_cast<Tevrol::ThreadId>(pthread_self())),
      m_deviceType(OSDeviceInvestigator::InvestigateDevice()) {}

ProcessData::~ProcessData() = default;

bool ProcessData::Initialize() {
  return true;
}

bool ProcessData::IsMainThread() {
  return static_cast<Tevrol::ThreadId>(pthread_self()) == m_mainThreadId;
}
