#ifndef TEVROL_FRAME_EXTRAHEAP_H
#define TEVROL_FRAME_EXTRAHEAP_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// The plain heap service: malloc, realloc and free of the system heap,
// null results handed to the caller unexamined. Thread-safe as the heap is.
class TEVROL_EXPORT ExtraHeap {
 public:
  virtual void* Alloc(Tevrol::ULong size) = 0;
  virtual void* ReAlloc(void* block, Tevrol::ULong size) = 0;
  virtual void Free(void* block) = 0;
  // Does nothing.
  virtual void Compact() = 0;
  // No size is known: returns 0 and leaves *result unwritten.
  virtual Tevrol::ULong Size(void* block, Tevrol::ULong* result) = 0;
  virtual ~ExtraHeap();
};

#endif
