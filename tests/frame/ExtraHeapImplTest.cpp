#include "frame/ExtraHeapImpl.h"

#include <gtest/gtest.h>

#include <cstring>

#include "frame/Accessors.h"
#include "frame/StackSizeMeasureServiceImpl.h"

TEST(ExtraHeapImplTest, HandsOutTheSystemHeap) {
  ExtraHeap* heap = ExtraHeap_GetInstance();
  ASSERT_EQ(heap, ExtraHeap_GetInstance());

  char* block = static_cast<char*>(heap->Alloc(16));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "0123456789abcde", 16);
  block = static_cast<char*>(heap->ReAlloc(block, 4096));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "0123456789abcde");
  heap->Compact();
  EXPECT_STREQ(block, "0123456789abcde");
  heap->Free(block);

  // ReAlloc of null allocates, as realloc does.
  void* fresh = heap->ReAlloc(nullptr, 8);
  EXPECT_NE(fresh, nullptr);
  heap->Free(fresh);
  heap->Free(nullptr);
}

TEST(ExtraHeapImplTest, SizeKnowsNothingAndLeavesTheResultAlone) {
  ExtraHeap* heap = ExtraHeap_GetInstance();
  void* block = heap->Alloc(32);
  Tevrol::ULong result = 0xA5A5A5A5u;
  EXPECT_EQ(heap->Size(block, &result), 0u);
  EXPECT_EQ(result, 0xA5A5A5A5u);
  heap->Free(block);
}

TEST(StackSizeMeasureServiceTest, AccessorGivesOneUnchangingObject) {
  StackSizeMeasureServiceImpl* first = StackSizeMeasureService_GetInstance();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(first, StackSizeMeasureService_GetInstance());
}
