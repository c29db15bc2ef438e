#include "frame/StackSizeMeasureServiceImpl.h"

#include "frame/Accessors.h"

StackSizeMeasureServiceImpl* StackSizeMeasureService_GetInstance() {
  static StackSizeMeasureServiceImpl s_instance;
  return &s_instance;
}
