#ifndef TEVROL_FRAME_EXTRAHEAPIMPL_H
#define TEVROL_FRAME_EXTRAHEAPIMPL_H

#include "frame/ExtraHeap.h"

class ExtraHeapImpl : public ExtraHeap {
 public:
  void* Alloc(Tevrol::ULong size) override;
  void* ReAlloc(void* block, Tevrol::ULong size) override;
  void Free(void* block) override;
  void Compact() override;
  Tevrol::ULong Size(void* block, Tevrol::ULong* result) override;
};

#endif
