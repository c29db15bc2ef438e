#ifndef TEVROL_FRAME_OSDEVICEINVESTIGATOR_H
#define TEVROL_FRAME_OSDEVICEINVESTIGATOR_H

#include <cstdint>

#include "frame/TevrolExport.h"

// Names the device the process runs on. It inspects nothing: this platform
// is always device 6.
class TEVROL_EXPORT OSDeviceInvestigator {
 public:
  OSDeviceInvestigator() = delete;

  static std::int32_t InvestigateDevice();

  // Zero at load; nothing in the library reads or writes it.
  static std::int32_t m_device;
};

#endif
