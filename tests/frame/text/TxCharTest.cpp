#include "frame/text/TxChar.h"

#include <gtest/gtest.h>

#include <iterator>

#include "frame/text/TextTestSupport.h"

namespace {

// Filled at compile time, as the library's own tables of special characters are.
constexpr TxChar kSpecials[] = {TxChar(':'), TxChar('\\'), TxChar(std::uint16_t{31}), TxChar()};
static_assert(kSpecials[0] == TxChar(std::uint16_t{0x3A}), "constant-initialised from char");

TEST(TxCharTest, EveryByteKeepsItsUnsignedValue) {
  for (int b = 0; b < 256; ++b) {
    EXPECT_EQ(UnitOf(TxChar(static_cast<char>(b))), b);
  }
  EXPECT_EQ(TxChar('\xE9'), TxChar(std::uint16_t{0xE9}));
}

TEST(TxCharTest, DefaultMatchesNoByteOfText) {
  EXPECT_EQ(TxChar(), kSpecials[3]);
  for (int b = 1; b < 256; ++b) {
    EXPECT_FALSE(TxChar() == TxChar(static_cast<char>(b))) << b;
  }
}

TEST(TxCharTest, GreaterOrEqualComparesCodeValues) {
  struct Case {
    TxChar a, b;
    bool expected;
  };
  const Case cases[] = {{TxChar('A'), TxChar('A'), true},
                        {TxChar('B'), TxChar('A'), true},
                        {TxChar('A'), TxChar('B'), false},
                        {TxChar('\xE9'), TxChar('\x7F'), true},  // no sign extension
                        {TxChar(std::uint16_t{0x100}), TxChar('\xFF'), true},
                        {TxChar(), TxChar(std::uint16_t{31}), false}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].a >= cases[i].b, cases[i].expected) << "row " << i;
  }
}

}  // namespace
