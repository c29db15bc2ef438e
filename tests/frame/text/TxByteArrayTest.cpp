#include "frame/text/TxByteArray.h"

#include <gtest/gtest.h>

#include "frame/text/TxString.h"

namespace {

TEST(TxByteArrayTest, AccessorsShareOneZeroTerminatedBuffer) {
  const TxString empty("");
  for (const TxString* text : {&NULLString, &empty}) {
    TxByteArray ascii = text->ToAscii();
    const TxByteArray latin1 = text->ToLatin1();
    ASSERT_NE(ascii.GetData(), nullptr);
    ASSERT_NE(latin1.GetConstData(), nullptr);
    EXPECT_STREQ(ascii.GetData(), "");
    EXPECT_STREQ(latin1, "");
  }
  TxByteArray bytes = TxString("/dev/null").ToAscii();
  const char* asPointer = bytes;
  EXPECT_EQ(bytes.GetData(), bytes.GetConstData());
  EXPECT_EQ(asPointer, bytes.GetConstData());
  EXPECT_STREQ(asPointer, "/dev/null");
}

TEST(TxByteArrayTest, UnitsAbove255BecomeQuestionMarks) {
  TxString text;
  for (std::uint16_t unit : {0xFF, 0x100, 0x20AC, 0xFFFF, 0x41}) text.Append(TxChar(unit));
  EXPECT_STREQ(text.ToAscii(), "\xFF???A");
  EXPECT_STREQ(text.ToLatin1(), "\xFF???A");
}

}  // namespace
