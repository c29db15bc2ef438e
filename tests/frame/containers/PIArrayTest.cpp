#include "frame/containers/PIArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

namespace {

using Tevrol::Long;

// Hands out memory filled with 0xA5, so that a new element that is not
// value-initialised shows, and counts the buffers held.
struct DirtyAllocator {
  static inline int s_held = 0;
  static void* Alloc(std::size_t n) { return ++s_held, std::memset(::operator new(n), 0xA5, n); }
  static void Free(void* block) { --s_held, ::operator delete(block); }
};

template <class T>
using Array =
    PIArray<T, T const&, NullLocking, PIAlloc<PICommonAllocDescriptors::PIArray, DirtyAllocator>>;

// Two words, as the pool's block records: a new element must come as zeros.
struct TwoWord {
  long m_words[2];  // {value, 0}
  operator int() const { return m_words[1] == 0 ? static_cast<int>(m_words[0]) : -1; }
};

// Owns heap memory and counts the live objects. Holds no pointer into
// itself, so its bytes may move.
struct Tracked {
  static inline int s_live = 0;
  Tracked(int value = 0) : m_payload(new int(value)) { ++s_live; }  // implicit: {7} makes one
  Tracked(Tracked const& other) : Tracked(*other.m_payload) {}
  Tracked& operator=(Tracked const& other) { return *m_payload = *other.m_payload, *this; }
  ~Tracked() { delete m_payload, --s_live; }
  operator int() const { return *m_payload; }
  int* m_payload;
};

// The documented contents of an array.
struct Model : std::vector<int> {
  Long Add(int x) { return push_back(x), static_cast<Long>(size()) - 1; }
  void InsertAt(Long at, int x, Long count = 1) {
    if (static_cast<Long>(size()) < at) resize(at);  // past the end: new elements up to `at`
    insert(begin() + at, count, x);
  }
  void RemoveAt(Long at, Long count = 1) {
    erase(begin() + at, begin() + at + std::min<Long>(count, static_cast<Long>(size()) - at));
  }
  void SetSize(Long newSize, Long /*growBy*/ = -1) { resize(newSize); }
  void SetSizeEx(Long newSize, Long, Long) { resize(newSize == -1 ? size() : newSize); }
  void FreeExtra() {}
  void RemoveAll() { clear(); }
};

template <class T>
class PIArrayTest : public ::testing::Test {};
using ElementTypes = ::testing::Types<int, TwoWord, Tracked>;
TYPED_TEST_SUITE(PIArrayTest, ElementTypes);

// One script, played step by step on the model and on the array. After
// each step the array must hold the model's contents, have the capacity
// given with the step (keeping its buffer while that stays) and keep exactly
// its elements in use alive; in the end nothing may be left.
TYPED_TEST(PIArrayTest, ScriptMatchesAVectorModel) {
  {
    Model model;
    Array<TypeParam> a;
    int row = 0;
    auto step = [&, data = a.GetData(), maxSize = Long{0}](auto op, Long capacity) mutable {
      SCOPED_TRACE(::testing::Message() << "step " << row++);
      op(model), op(a);
      EXPECT_EQ(std::vector<int>(a.GetData(), a.GetData() + a.GetSize()), model);
      EXPECT_EQ(a.GetUpperBound(), a.GetSize() - 1);
      EXPECT_EQ(a.GetMaxSize(), capacity);
      EXPECT_EQ(a.GetData() == nullptr, capacity == 0);
      EXPECT_TRUE(capacity != maxSize || a.GetData() == data) << "same capacity, same buffer";
      EXPECT_EQ(Tracked::s_live, (std::is_same<TypeParam, Tracked>::value ? a.GetSize() : 0));
      data = a.GetData(), maxSize = capacity;
    };
    step([](auto& c) { c.Add({1}), c.Add({2}), c.Add({3}), c.Add({4}), c.Add({5}); }, 5);
    step([](auto& c) { c.Add(c[1]); }, 9);  // its own element, while the buffer moves
    step([](auto& c) { c.InsertAt(0, {7}, 2); }, 9);
    step([](auto& c) { c.InsertAt(7, c[7], 2); }, 13);   // at the last index, of the element there
    step([](auto& c) { c.InsertAt(12, {9}, 0); }, 13);   // count 0 past the end: grows to it
    step([](auto& c) { c.InsertAt(14, {8}, 2); }, 17);   // past the end: new elements in the gap
    step([](auto& c) { c.InsertAt(10, c[0], 2); }, 21);  // own element in front of the index
    step([](auto& c) { c.RemoveAt(0, 3), c.RemoveAt(14); }, 21);  // keeps the capacity
    step([](auto& c) { c.SetSize(5); }, 21);                      // so does a shrink
    step([](auto& c) { c.FreeExtra(); }, 5);
    step([](auto& c) { c.FreeExtra(); }, 5);              // already exact: the buffer stays
    step([](auto& c) { c.SetSizeEx(-1, 7, 3); }, 5);      // stores 7; raises 3 to the size
    step([](auto& c) { EXPECT_EQ(c.Add({1}), 5); }, 12);  // the index of the new element
    step([](auto& c) { c.SetSizeEx(8, 0, 100), c.SetSize(101); }, 104);  // step from the size
    step([](auto& c) { c.SetSize(120, 3), c.Add({3}); }, 123);  // at least 120, then the step 3
    // {size, capacity after one Add when full}: a first allocation is exact,
    // the automatic step m_size / 8 is at least 4 and at most 1024.
    Long const growth[][2] = {{0, 1},   {1, 5},   {5, 9},       {9, 13},
                              {40, 45}, {41, 46}, {8192, 9216}, {20000, 21024}};
    for (auto const& [size, capacity] : growth)
      step([size = size](auto& c) { c.SetSizeEx(size, 0, size), c.Add({1}); }, capacity);
    step([](auto& c) { c.RemoveAt(19990, 99); }, 21024);  // a count past the end stops there
    step([](auto& c) { c.RemoveAll(); }, 0);
    step([](auto& c) { c.SetSize(3), c.RemoveAt(0, 3); }, 3);
    step([](auto& c) { c.FreeExtra(); }, 0);  // empty: the buffer goes
    a.Add({1});
  }
  EXPECT_EQ(Tracked::s_live, 0) << "the destructor destroys the elements";
  EXPECT_EQ(DirtyAllocator::s_held, 0) << "and frees the buffer";
}

}  // namespace
