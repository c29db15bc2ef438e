#include "timer/TimerList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "threads/Tick.h"
#include "timer/TimerContext.h"

namespace {

struct Context : TimerContext {
  void Tick() override {}
};

struct TimerListTest : ::testing::Test {
  std::array<Context, 8> contexts;
  TimerList list;

  int IndexOf(TimerContextInterface const* context) const {
    return static_cast<int>(static_cast<Context const*>(context) - contexts.data());
  }
  std::vector<int> Order() const {
    std::vector<int> order;
    for (TimerList::Node const* node = list.GetFirst(); node != nullptr; node = node->m_next) {
      order.push_back(IndexOf(node->m_value.m_context));
    }
    return order;
  }
  void Add(int index, Tevrol::ULong intervall, Tevrol::Tick now) {
    contexts[static_cast<std::size_t>(index)].SetIntervall(intervall);
    ASSERT_TRUE(list.Add(&contexts[static_cast<std::size_t>(index)], now));
  }
  int PickDue(Tevrol::Tick now) {
    TimerContextInterface* const picked = list.PickDue(now);
    return picked == nullptr ? -1 : IndexOf(picked);
  }
};

TEST_F(TimerListTest, SortsAcrossTheWrapEqualDeadlinesInInsertionOrder) {
  const Tevrol::Tick now = 0xFFFFFFF0u;
  Add(0, 30, now);  // 0x0E, after the wrap
  Add(1, 0, now);   // 0xFFFFFFF0
  Add(2, 30, now);  // equal to 0: behind it
  Add(3, 5, now);   // 0xFFFFFFF5
  Add(4, 30, now);
  EXPECT_EQ(Order(), std::vector<int>({1, 3, 0, 2, 4}));
  EXPECT_EQ(contexts[0].GetTimeout(), 0x0Eu);
  EXPECT_FALSE(list.Add(&contexts[3], now + 100));  // registered: keeps its deadline
  EXPECT_EQ(contexts[3].GetTimeout(), 0xFFFFFFF5u);

  EXPECT_EQ(PickDue(now), 1);
  EXPECT_EQ(PickDue(now), -1);  // 3 is not due yet
  contexts[0].SetCyclic(true);
  std::vector<int> fired;
  for (int picked = PickDue(0x0E); picked != -1; picked = PickDue(0x0E)) fired.push_back(picked);
  // The cyclic one goes back in at 0x0E + 30, behind the others.
  EXPECT_EQ(fired, std::vector<int>({3, 0, 2, 4}));
  EXPECT_EQ(Order(), std::vector<int>({0}));
  EXPECT_EQ(list.HeadDeadline(), 0x0Eu + 30u);
}

// Deadlines 2^31 ms or more apart are not ordered by the signed difference;
// a new deadline then goes before the first one, from the head, that is
// strictly later, wherever a search from the tail would put it.
TEST_F(TimerListTest, DeadlinesHalfTheRangeApartArePlacedAsFromTheHead) {
  Add(0, 0, 0);            // 0
  Add(1, 0x8000000Au, 0);  // 0x8000000A: 0 reads as later, so in front
  EXPECT_EQ(Order(), std::vector<int>({1, 0}));
  EXPECT_TRUE(list.IsWindowOrdered());
  Add(2, 0x7FFFFFF6u, 0);  // 20 before 1, 2^31 - 10 after 0: in front of 1
  EXPECT_EQ(Order(), std::vector<int>({2, 1, 0}));
  EXPECT_FALSE(list.IsWindowOrdered());
  EXPECT_TRUE(list.Remove(&contexts[1]));
  Add(3, 5, 0);  // 2 reads as later than 5
  EXPECT_EQ(Order(), std::vector<int>({3, 2, 0}));
  EXPECT_EQ(PickDue(0), -1);  // 0 is due, but behind a head that is not
  EXPECT_EQ(PickDue(5), 3);
  EXPECT_TRUE(list.Remove(&contexts[2]));
  EXPECT_TRUE(list.IsWindowOrdered());
  Add(4, 0, 0);
  EXPECT_EQ(Order(), std::vector<int>({0, 4}));
}

// Many contexts in and out in shuffled orders: the index answers for each,
// and the list stays sorted with equal deadlines in insertion order.
TEST(TimerListManyTest, IndexAndOrderHoldWhileTheTableGrowsAndShrinks) {
  constexpr std::size_t kCount = 2000;
  std::vector<Context> contexts(kCount);
  std::vector<std::size_t> inserted(kCount);
  for (std::size_t i = 0; i < kCount; ++i) inserted[i] = i;
  std::mt19937 random(7);
  std::shuffle(inserted.begin(), inserted.end(), random);
  TimerList list;
  const Tevrol::Tick now = 0xFFFFF000u;  // deadlines on both sides of the wrap
  for (std::size_t i : inserted) {
    contexts[i].SetIntervall(static_cast<Tevrol::ULong>(i % 500) * 16u);  // 4 of each
    list.Add(&contexts[i], now);
  }
  std::vector<bool> member(kCount, true);
  auto check = [&] {
    std::vector<std::size_t> expected;  // the members, by deadline, then insertion
    for (std::size_t i : inserted) {
      if (member[i]) expected.push_back(i);
    }
    std::stable_sort(expected.begin(), expected.end(), [&](std::size_t a, std::size_t b) {
      return detail::TickIsLater(contexts[b].GetTimeout(), contexts[a].GetTimeout());
    });
    std::vector<std::size_t> listed;
    for (TimerList::Node const* node = list.GetFirst(); node != nullptr; node = node->m_next) {
      listed.push_back(static_cast<std::size_t>(
          static_cast<Context const*>(node->m_value.m_context) - contexts.data()));
    }
    EXPECT_EQ(listed, expected);
    for (std::size_t i = 0; i < kCount; ++i) ASSERT_EQ(list.Contains(&contexts[i]), member[i]) << i;
  };
  check();
  std::vector<std::size_t> removal = inserted;
  std::shuffle(removal.begin(), removal.end(), random);
  for (std::size_t k = 0; k < kCount; ++k) {
    ASSERT_TRUE(list.Remove(&contexts[removal[k]]));
    member[removal[k]] = false;
    if (k == kCount * 15 / 16) check();  // the table has shrunk
  }
  EXPECT_TRUE(list.IsEmpty());
  check();
  EXPECT_FALSE(list.Remove(&contexts[0]));
}

}  // namespace
