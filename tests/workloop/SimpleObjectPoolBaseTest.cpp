#include "workloop/SimpleObjectPoolBase.h"

#include <gtest/gtest.h>

#include <vector>

#include "workloop/Task.h"
#include "workloop/WorkLoopImpl.h"

namespace {

using Record = WorkLoopImpl::QueuedTask;

TEST(SimpleObjectPoolBaseTest, GrowsBySixtyFourThenThirtyTwoFromTheLowestAddress) {
  WorkLoopImpl::Pool pool;
  EXPECT_EQ(pool.GetCapacity(), 0u);
  std::vector<Record*> out;
  for (int i = 0; i < 97; ++i) {
    out.push_back(pool.Alloc());
    ASSERT_NE(out.back(), nullptr);
    EXPECT_EQ(out.back()->m_next, nullptr);
    const Tevrol::ULong expected = i < 64 ? 64 : i < 96 ? 96 : 128;
    EXPECT_EQ(pool.GetCapacity(), expected) << "record " << i + 1;
  }
  EXPECT_EQ(out[1], out[0] + 1);  // a fresh block from its lowest address up
  EXPECT_EQ(out[65], out[64] + 1);
  EXPECT_EQ(pool.m_blocks.GetSize(), 3);
}

TEST(SimpleObjectPoolBaseTest, ReusesFirstInFirstOutAndIgnoresBadFrees) {
  WorkLoopImpl::Pool pool;
  Record* a = pool.Alloc();
  Record* b = pool.Alloc();
  pool.Free(b);
  pool.Free(b);  // twice: no effect
  pool.Free(a);
  Record foreign{};
  pool.Free(&foreign);                                                   // never came from the pool
  pool.Free(reinterpret_cast<Record*>(reinterpret_cast<char*>(a) + 1));  // not on a boundary
  EXPECT_EQ(pool.m_freeList.m_count, 64);
  // The 62 never-used records come first, then b, then a.
  for (int i = 0; i < 62; ++i) pool.Alloc();
  EXPECT_EQ(pool.Alloc(), b);
  EXPECT_EQ(pool.Alloc(), a);
  // Every record out: the free list gave its node blocks back.
  EXPECT_EQ(pool.m_freeList.m_count, 0);
  EXPECT_EQ(pool.m_freeList.m_blocks, nullptr);
  pool.Free(a);
  EXPECT_NE(pool.m_freeList.m_blocks, nullptr);
  EXPECT_EQ(pool.Alloc(), a);
}

TEST(TaskTest, CopiesShareTheIdAndNameOfTheSource) {
  struct Named : Task {
    using Task::Task;
    void Execute() override {}
    void Dispose() override {}
  };
  Named unnamed;
  EXPECT_STREQ(unnamed.GetFriendlyName(), "no_name");
  EXPECT_EQ(Named().GetId(), unnamed.GetId());
  Named radio("radio");
  Named copy(radio);
  EXPECT_EQ(copy.GetId(), radio.GetId());
  EXPECT_EQ(copy.GetFriendlyName(), radio.GetFriendlyName());
  unnamed = radio;
  EXPECT_STREQ(unnamed.GetFriendlyName(), "radio");
  EXPECT_EQ(reinterpret_cast<Tevrol::Word>(unnamed.GetFriendlyName()), unnamed.GetId());
}

}  // namespace
