#include "frame/ExtraHeapImpl.h"

#include <cstdlib>

#include "frame/Accessors.h"

ExtraHeap::~ExtraHeap() = default;

void* ExtraHeapImpl::Alloc(Tevrol::ULong size) {
  return std::malloc(size);
}

void* ExtraHeapImpl::ReAlloc(void* block, Tevrol::ULong size) {
  return std::realloc(block, size);
}

void ExtraHeapImpl::Free(void* block) {
  std::free(block);
}

void ExtraHeapImpl::Compact() {}

Tevrol::ULong ExtraHeapImpl::Size(void*, Tevrol::ULong*) {
  return 0;
}

ExtraHeap* ExtraHeap_GetInstance() {
  static ExtraHeapImpl s_instance;
  return &s_instance;
}
