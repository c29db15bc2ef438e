#include "frame/containers/PIArray.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

template <class T>
using Array = PIArray<T, T const&, NullLocking,
                      PIAlloc<PICommonAllocDescriptors::PIArray, PIDefaultAllocator>>;

// Two words, as the pool's block records: new elements must come as zeros.
struct TwoWord {
  void* m_first;
  Tevrol::ULong m_count;
};

// Owns heap memory and counts its lives; a use or destruction of a dead
// object counts as a fault. It holds no pointer into itself, so moving its
// bytes is allowed.
struct Tracked {
  static constexpr std::uint32_t kAlive = 0xA11CE;
  static int s_live;
  static int s_constructed;
  static int s_destroyed;
  static int s_faults;
  static void Reset() { s_live = s_constructed = s_destroyed = s_faults = 0; }

  Tracked() : Tracked(0) {}
  explicit Tracked(int value) : m_payload(new int(value)), m_state(kAlive) {
    ++s_live;
    ++s_constructed;
  }
  Tracked(Tracked const& other) : Tracked(other.Value()) {}
  Tracked& operator=(Tracked const& other) {
    if (m_state != kAlive) {
      ++s_faults;
    }
    *m_payload = other.Value();
    return *this;
  }
  ~Tracked() {
    if (m_state != kAlive) {
      ++s_faults;
    }
    m_state = 0;
    delete m_payload;
    m_payload = nullptr;
    --s_live;
    ++s_destroyed;
  }
  int Value() const {
    if (m_state != kAlive) {
      ++s_faults;
      return -1;
    }
    return *m_payload;
  }

  int* m_payload;
  std::uint32_t m_state;
};
int Tracked::s_live = 0;
int Tracked::s_constructed = 0;
int Tracked::s_destroyed = 0;
int Tracked::s_faults = 0;

// Makes an element from a number and reads it back; 0 is the value of a
// value-initialised element.
template <class T>
struct Elem;
template <>
struct Elem<int> {
  static int Make(int v) { return v; }
  static int Get(int e) { return e; }
};
template <>
struct Elem<TwoWord> {
  static TwoWord Make(int v) {
    return {reinterpret_cast<void*>(static_cast<std::uintptr_t>(v)), static_cast<Tevrol::ULong>(v)};
  }
  static int Get(TwoWord const& e) {
    // Both words must agree, or the element was torn.
    return reinterpret_cast<std::uintptr_t>(e.m_first) == e.m_count ? static_cast<int>(e.m_count)
                                                                    : -1;
  }
};
template <>
struct Elem<Tracked> {
  static Tracked Make(int v) { return Tracked(v); }
  static int Get(Tracked const& e) { return e.Value(); }
};

template <class T>
std::vector<int> Contents(Array<T> const& a) {
  std::vector<int> out;
  for (Tevrol::Long i = 0; i < a.GetSize(); ++i) {
    out.push_back(Elem<T>::Get(a.GetAt(i)));
  }
  return out;
}

template <class T>
void Fill(Array<T>& a, int n) {
  for (int i = 1; i <= n; ++i) {
    a.Add(Elem<T>::Make(i));
  }
}

template <class T>
class PIArrayTest : public ::testing::Test {
 protected:
  void SetUp() override { Tracked::Reset(); }
  void TearDown() override {
    EXPECT_EQ(Tracked::s_live, 0) << "leaked or doubly destroyed elements";
    EXPECT_EQ(Tracked::s_faults, 0) << "a dead element was used or destroyed";
  }
};
using ElementTypes = ::testing::Types<int, TwoWord, Tracked>;
TYPED_TEST_SUITE(PIArrayTest, ElementTypes);

TYPED_TEST(PIArrayTest, StartsEmptyWithoutBuffer) {
  Array<TypeParam> a;
  EXPECT_EQ(a.GetSize(), 0);
  EXPECT_EQ(a.GetUpperBound(), -1);
  EXPECT_EQ(a.GetMaxSize(), 0);
  EXPECT_EQ(a.GetData(), nullptr);
}

TYPED_TEST(PIArrayTest, AddKeepsEveryValueAcrossReallocations) {
  Array<TypeParam> a;
  std::vector<int> expected;
  for (int i = 1; i <= 300; ++i) {
    ASSERT_EQ(a.Add(Elem<TypeParam>::Make(i)), i - 1);
    expected.push_back(i);
  }
  EXPECT_EQ(a.GetUpperBound(), 299);
  EXPECT_EQ(Contents(a), expected);
}

TYPED_TEST(PIArrayTest, NewElementsAreValueInitialised) {
  Array<TypeParam> a;
  a.SetSize(3);
  a.SetAt(1, Elem<TypeParam>::Make(7));
  a.SetSize(6);  // the buffer of exactly 3 moves
  EXPECT_EQ(Contents(a), (std::vector<int>{0, 7, 0, 0, 0, 0}));
}

TYPED_TEST(PIArrayTest, ShrinkKeepsBufferAndSizeZeroFreesIt) {
  Array<TypeParam> a;
  Fill(a, 10);
  TypeParam const* buffer = a.GetData();
  Tevrol::Long const capacity = a.GetMaxSize();
  a.SetSize(3);
  EXPECT_EQ(a.GetData(), buffer);
  EXPECT_EQ(a.GetMaxSize(), capacity);
  EXPECT_EQ(Contents(a), (std::vector<int>{1, 2, 3}));
  a.RemoveAll();
  EXPECT_EQ(a.GetData(), nullptr);
  EXPECT_EQ(a.GetMaxSize(), 0);
  EXPECT_EQ(a.GetSize(), 0);
}

TYPED_TEST(PIArrayTest, InsertAtShiftsOrFillsTheGap) {
  struct Case {
    int initial;  // elements 1 .. initial
    Tevrol::Long index;
    Tevrol::Long count;
    std::vector<int> expected;
  };
  Case const cases[] = {
      {5, 2, 3, {1, 2, 9, 9, 9, 3, 4, 5}},  // inside: the tail moves up
      {5, 0, 1, {9, 1, 2, 3, 4, 5}},
      {5, 4, 2, {1, 2, 3, 4, 9, 9, 5}},
      {5, 2, 0, {1, 2, 3, 4, 5}},        // inside, count 0: unchanged
      {2, 2, 2, {1, 2, 9, 9}},           // at the end
      {2, 5, 2, {1, 2, 0, 0, 0, 9, 9}},  // past the end: the gap gets new elements
      {2, 4, 0, {1, 2, 0, 0}},           // past the end, count 0: grows to index
      {0, 0, 3, {9, 9, 9}},
      {3, 1, -2, {1, 2, 3}},  // a negative count inserts nothing
  };
  for (std::size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    Array<TypeParam> a;
    Fill(a, cases[i].initial);
    a.InsertAt(cases[i].index, Elem<TypeParam>::Make(9), cases[i].count);
    EXPECT_EQ(Contents(a), cases[i].expected);
  }
}

TYPED_TEST(PIArrayTest, RemoveAtClosesTheGapAndKeepsTheCapacity) {
  struct Case {
    Tevrol::Long index;
    Tevrol::Long count;
    std::vector<int> expected;
  };
  Case const cases[] = {
      {0, 1, {2, 3, 4, 5, 6}},
      {2, 3, {1, 2, 6}},
      {5, 1, {1, 2, 3, 4, 5}},
      {3, 0, {1, 2, 3, 4, 5, 6}},  // count 0 removes nothing
      {4, 10, {1, 2, 3, 4}},       // a count past the end stops at the end
      {0, 6, {}},
  };
  for (std::size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    Array<TypeParam> a;
    Fill(a, 6);
    Tevrol::Long const capacity = a.GetMaxSize();
    a.RemoveAt(cases[i].index, cases[i].count);
    EXPECT_EQ(Contents(a), cases[i].expected);
    EXPECT_EQ(a.GetMaxSize(), capacity);
  }
}

TYPED_TEST(PIArrayTest, FreeExtraShrinksToTheSize) {
  Array<TypeParam> a;
  Fill(a, 6);
  ASSERT_EQ(a.GetMaxSize(), 9);
  a.FreeExtra();
  EXPECT_EQ(a.GetMaxSize(), 6);
  EXPECT_EQ(Contents(a), (std::vector<int>{1, 2, 3, 4, 5, 6}));

  TypeParam const* exact = a.GetData();
  a.FreeExtra();  // already exact: the buffer stays
  EXPECT_EQ(a.GetData(), exact);

  a.RemoveAt(0, 6);
  a.FreeExtra();  // empty with a buffer: the buffer goes
  EXPECT_EQ(a.GetData(), nullptr);
  EXPECT_EQ(a.GetMaxSize(), 0);
  a.FreeExtra();  // empty without a buffer: nothing
  EXPECT_EQ(a.GetMaxSize(), 0);
}

TYPED_TEST(PIArrayTest, OwnElementSurvivesTheReallocationItCauses) {
  Array<TypeParam> a;
  Fill(a, 5);
  ASSERT_EQ(a.GetSize(), a.GetMaxSize());  // the next Add reallocates
  a.Add(a[1]);
  a.InsertAt(0, a[4], 2);
  a.InsertAt(1, a[0], 1);
  EXPECT_EQ(Contents(a), (std::vector<int>{5, 5, 5, 1, 2, 3, 4, 5, 2}));
}

TEST(PIArrayTest, CapacitiesWhenGrowingOneAtATime) {
  int const expected[] = {1, 5, 9, 13, 17, 21, 25, 29, 33, 37, 41, 46, 51, 57, 64, 72, 81, 91, 102};
  Array<int> a;
  std::vector<Tevrol::Long> seen;
  while (a.GetSize() < 102) {
    a.Add(0);
    if (seen.empty() || seen.back() != a.GetMaxSize()) {
      seen.push_back(a.GetMaxSize());
    }
  }
  ASSERT_EQ(seen.size(), sizeof(expected) / sizeof(expected[0]));
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i], expected[i]) << "row " << i;
  }
}

TEST(PIArrayTest, GrowthStepRules) {
  struct Case {
    Tevrol::Long start;  // size and exact capacity before the step
    Tevrol::Long growBy;
    Tevrol::Long newSize;
    Tevrol::Long capacity;
    Tevrol::Long storedGrowBy;
  };
  Case const cases[] = {
      {8, -1, 9, 12, 0},             // size / 8 below 4: step 4
      {40, -1, 41, 45, 0},           // size / 8 = 5
      {8192, -1, 8193, 9216, 0},     // size / 8 = 1024
      {20000, -1, 20001, 21024, 0},  // size / 8 = 2500, capped at 1024
      {5, -1, 100, 100, 0},          // at least the new size
      {5, 3, 6, 8, 3},               // explicit step, stored
      {5, 3, 9, 9, 3},
      {100, 0, 101, 112, 0},  // 0 brings the automatic step back
      {5, -1, 5, 5, 0},       // not above the capacity: unchanged
      {5, -1, 2, 5, 0},       // shrink keeps the buffer
  };
  for (std::size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    Array<int> a;
    a.SetSize(cases[i].start);
    ASSERT_EQ(a.GetMaxSize(), cases[i].start);  // first allocation is exact
    a.SetSize(cases[i].newSize, cases[i].growBy);
    EXPECT_EQ(a.GetSize(), cases[i].newSize);
    EXPECT_EQ(a.GetMaxSize(), cases[i].capacity);
    EXPECT_EQ(a.m_growBy, cases[i].storedGrowBy);
  }
}

TEST(PIArrayTest, SetSizeExKeepsWhatIsMinusOne) {
  Array<int> a;
  a.SetSizeEx(3, 7, 10);
  EXPECT_EQ(a.GetSize(), 3);
  EXPECT_EQ(a.GetMaxSize(), 10);
  EXPECT_EQ(a.m_growBy, 7);
  a.SetSizeEx(-1, -1, 4);  // capacity only
  EXPECT_EQ(a.GetSize(), 3);
  EXPECT_EQ(a.GetMaxSize(), 4);
  EXPECT_EQ(a.m_growBy, 7);
  a.SetSizeEx(6, -1, 2);  // a capacity below the size is raised to it
  EXPECT_EQ(a.GetSize(), 6);
  EXPECT_EQ(a.GetMaxSize(), 6);
  a.SetSizeEx(-1, -1, 0);  // raised to the size: the buffer stays
  EXPECT_EQ(a.GetMaxSize(), 6);
  EXPECT_NE(a.GetData(), nullptr);
}

TEST(PIArrayTest, NegativeSizeCountsAsZero) {
  Array<Tracked> a;
  Tracked::Reset();
  a.SetSize(4);
  a.SetSize(-3);
  EXPECT_EQ(a.GetSize(), 0);
  EXPECT_EQ(a.GetData(), nullptr);
  EXPECT_EQ(Tracked::s_live, 0);
}

// Elements are made and destroyed exactly where the size changes; moves
// of the buffer neither construct nor destroy.
TEST(PIArrayTest, ElementLivesFollowTheSize) {
  Tracked::Reset();
  {
    Tracked const value(1);
    Array<Tracked> a;
    a.SetSize(10);
    EXPECT_EQ(Tracked::s_live, 11);
    a.SetSize(4);
    EXPECT_EQ(Tracked::s_destroyed, 6);
    EXPECT_EQ(Tracked::s_live, 5);

    int const made = Tracked::s_constructed;
    a.SetSizeEx(-1, -1, 4);  // moves the four into an exact buffer
    EXPECT_EQ(Tracked::s_constructed, made);
    EXPECT_EQ(Tracked::s_destroyed, 6);
    a.Add(value);  // full: reallocates and makes one
    EXPECT_EQ(Tracked::s_constructed, made + 1);
    EXPECT_EQ(Tracked::s_destroyed, 6);
    a.InsertAt(1, value, 2);
    EXPECT_EQ(Tracked::s_live, 8);
    a.RemoveAt(0, 3);
    EXPECT_EQ(Tracked::s_live, 5);
  }
  EXPECT_EQ(Tracked::s_live, 0);
  EXPECT_EQ(Tracked::s_faults, 0);
}

TEST(PIArrayTest, SetLockReplacesTheOwnLock) {
  Array<int> a;
  NullLocking* const own = a.GetLock();
  EXPECT_NE(own, nullptr);
  NullLocking external;
  a.SetLock(&external);
  EXPECT_EQ(a.GetLock(), &external);
}

}  // namespace
