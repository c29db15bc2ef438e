#include "frame/text/TxStringArray.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/text/TextTestSupport.h"

namespace {

TxString Numbered(int i) {
  return TxString(("item " + std::to_string(i)).c_str());
}

TEST(TxStringArrayTest, KeepsEveryElementWhileGrowing) {
  TxStringArray array;
  for (int i = 0; i < 100; ++i) {
    // Even elements copy the first through a reference into the storage that
    // Add replaces when it grows, which happens at even sizes.
    if (i % 2 == 1 || i == 0) {
      array.Add(Numbered(i));
    } else {
      array.Add(array[0]);
    }
    ASSERT_EQ(array.GetSize(), i + 1);
  }
  for (int i = 0; i < 100; ++i) EXPECT_EQ(array[i], Numbered(i % 2 == 1 ? i : 0)) << i;
}

TEST(TxStringArrayTest, CopiesAndAssignmentsAreIndependent) {
  TxStringArray original;
  original.Add(TxString("a"));
  original.Add(TxString("b"));
  TxStringArray copy(original);
  TxStringArray assigned;
  assigned.Add(TxString("old"));
  assigned = original;
  assigned = assigned;
  copy[0].Append(TxChar('!'));
  assigned.Add(TxString("c"));
  EXPECT_EQ(original.GetSize(), 2);
  EXPECT_EQ(original[0], "a");
  EXPECT_EQ(copy[0], "a!");
  EXPECT_EQ(assigned.GetSize(), 3);
  assigned = TxStringArray();
  EXPECT_EQ(assigned.GetSize(), 0);
}

TEST(TxStringArrayTest, SurvivesABytewiseMove) {
  alignas(TxStringArray) unsigned char first[sizeof(TxStringArray)];
  alignas(TxStringArray) unsigned char second[sizeof(TxStringArray)];
  auto* original = new (first) TxStringArray();
  original->Add(TxString("kept"));
  TxStringArray* moved = RelocateBytewise(original, second);
  EXPECT_EQ((*moved)[0], "kept");
  const TxStringArray copy(*moved);
  for (int i = 0; i < 20; ++i) moved->Add(Numbered(i));
  EXPECT_EQ(moved->GetSize(), 21);
  EXPECT_EQ(copy.GetSize(), 1);
  moved->~TxStringArray();
}

}  // namespace
