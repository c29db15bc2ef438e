#include "frame/OSDeviceInvestigator.h"

std::int32_t OSDeviceInvestigator::m_device = 0;

std::int32_t OSDeviceInvestigator::InvestigateDevice() {
  return 6;
}
