#include "frame/text/TxString.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "frame/text/TextTestSupport.h"

namespace {

// Initialised dynamically before main, from objects of another translation
// unit that must already be valid by then.
struct EarlyText {
  EarlyText() : text(NULLString), nullWasEmpty(NULLString.IsEmpty()) { text.Append(TxChar(':')); }
  TxString text;
  bool nullWasEmpty;
};
const EarlyText g_earlyText;

TEST(TxStringTest, NullStringAndTxCharWorkInStaticInitialisers) {
  EXPECT_TRUE(g_earlyText.nullWasEmpty);
  EXPECT_EQ(g_earlyText.text, ":");
}

TEST(TxStringTest, NullBytesReadAsEmptyText) {
  const char* none = nullptr;
  EXPECT_TRUE(TxString(none).IsEmpty());
  TxString s("abc");
  s += none;
  EXPECT_EQ(s, "abc");
  EXPECT_NE(s, none);
  s = none;
  EXPECT_TRUE(s.IsEmpty());
  EXPECT_EQ(s, none);
}

std::string Bytes(TxByteArray const& b) {
  return b.GetConstData();
}

TEST(TxStringTest, EveryByteRoundTripsThroughBothConversions) {
  TxString units;
  for (int b = 0; b < 256; ++b) units.Append(TxChar(static_cast<char>(b)));
  ASSERT_EQ(units.GetLength(), 256);
  const TxByteArray ascii = units.ToAscii();
  const TxByteArray latin1 = units.ToLatin1();
  for (int b = 0; b < 256; ++b) {
    EXPECT_EQ(static_cast<unsigned char>(ascii.GetConstData()[b]), b);
    EXPECT_EQ(static_cast<unsigned char>(latin1.GetConstData()[b]), b);
  }
  EXPECT_EQ(ascii.GetConstData()[256], '\0');

  std::string allBytes;
  for (int b = 1; b < 256; ++b) allBytes += static_cast<char>(b);
  const std::string utf8 =
      "/tmp/Gr\xC3\xBC\xC3\x9F"
      "e/\xE6\x97\xA5\xE6\x9C\xAC.txt";
  for (const std::string& bytes : {allBytes, utf8}) {
    const TxString text(bytes.c_str());
    EXPECT_EQ(text.GetLength(), static_cast<Tevrol::Long>(bytes.size()));
    EXPECT_EQ(text, bytes.c_str());
    EXPECT_EQ(Bytes(text.ToAscii()), bytes);
    EXPECT_EQ(Bytes(text.ToLatin1()), bytes);
  }
}

TEST(TxStringTest, LeftRightMidClipToTheText) {
  struct Case {
    const char* text;
    char op;
    Tevrol::Long a, b;
    const char* expected;
  };
  const Case cases[] = {
      {"abc", 'L', 2, 0, "ab"},
      {"abc", 'L', 65536, 0, "abc"},
      {"", 'L', 1, 0, ""},
      {"abc", 'L', -1, 0, ""},
      {"abc", 'R', 2, 0, "bc"},
      {"abc", 'R', 4, 0, "abc"},
      {"", 'R', 1, 0, ""},
      {"abc", 'R', -1, 0, ""},
      {"abcde", 'M', 1, 3, "bcd"},
      {"abcde", 'M', 3, 3, "de"},
      {"abcde", 'M', 5, -1, ""},
      {"abcde", 'M', 2, -1, "cde"},
      {"abcde", 'M', 2, -7, "cde"},
      {"abcde", 'M', 9, 1, ""},
      {"abcde", 'M', -1, -1, "abcde"},
      {"abcde", 'M', -2, 2, "ab"},
      {"abcde", 'M', 1, INT_MAX, "bcde"},
      {"abcde", 'M', 1, 0, ""},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    const TxString text(c.text);
    const TxString got = c.op == 'L'   ? text.Left(c.a)
                         : c.op == 'R' ? text.Right(c.a)
                                       : text.Mid(c.a, c.b);
    EXPECT_EQ(got, c.expected) << "row " << i << ": " << c.op << "(" << c.a << ", " << c.b << ")";
  }
}

TEST(TxStringTest, ReadingOutsideTheTextGivesZero) {
  const TxString s("ab");
  for (Tevrol::Long index : {-1, 2, INT_MAX, INT_MIN}) {
    EXPECT_EQ(s.GetAt(index), TxChar()) << index;
    EXPECT_EQ(s[index], TxChar()) << index;
    EXPECT_EQ(NULLString[index], TxChar()) << index;
  }
  EXPECT_EQ(s[1], TxChar('b'));
}

TEST(TxStringTest, IndexOfAndLastIndexOfHandleEveryStart) {
  struct Case {
    Tevrol::Long from, first, last;
  };
  // "a/b/c" has '/' at 1 and 3.
  const Case cases[] = {{0, 1, -1}, {-1, 1, 3}, {-5, 1, 3}, {1, 1, 1},       {2, 3, 1},
                        {4, -1, 3}, {5, -1, 3}, {9, -1, 3}, {INT_MIN, 1, 3}, {INT_MAX, -1, 3}};
  const TxString s("a/b/c");
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(s.IndexOf(TxChar('/'), cases[i].from), cases[i].first) << "row " << i;
    EXPECT_EQ(s.LastIndexOf(TxChar('/'), cases[i].from), cases[i].last) << "row " << i;
  }
  EXPECT_EQ(NULLString.IndexOf(TxChar('/'), 0), -1);
  EXPECT_EQ(NULLString.LastIndexOf(TxChar('/'), -1), -1);
}

TEST(TxStringTest, CompareOrdersByUnsignedCodeUnits) {
  struct Case {
    const char *a, *b;
    int sign;
  };
  const Case cases[] = {{"", "", 0},    {"path", "path", 0}, {"a", "b", -1},
                        {"ab", "a", 1}, {"\xE9", "e", 1},    {"", "a", -1}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const TxString a(cases[i].a), b(cases[i].b);
    const Tevrol::Long result = a.Compare(b);
    EXPECT_EQ((result > 0) - (result < 0), cases[i].sign) << "row " << i;
    EXPECT_EQ(a == b, cases[i].sign == 0) << "row " << i;
    EXPECT_EQ(a == cases[i].b, cases[i].sign == 0) << "row " << i;
  }
}

TEST(TxStringTest, CaseInsensitiveFoldsOnlyAsciiAndLatin1Letters) {
  struct Case {
    char upper, lower;
    bool folds;
  };
  const Case cases[] = {{'A', 'a', true},        {'Z', 'z', true},       {'@', '`', false},
                        {'[', '{', false},       {'\xC0', '\xE0', true}, {'\xDE', '\xFE', true},
                        {'\xD7', '\xF7', false}, {'\xDF', '\xFF', false}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const TxChar upper(cases[i].upper), lower(cases[i].lower);
    TxString text;
    text.Append(upper).Append(lower);
    EXPECT_EQ(text.StartsWith(lower, TxString::CaseInsensitive), cases[i].folds) << "row " << i;
    EXPECT_EQ(text.Count(upper, TxString::CaseInsensitive), cases[i].folds ? 2 : 1) << "row " << i;
    EXPECT_FALSE(text.StartsWith(lower, TxString::CaseSensitive)) << "row " << i;
  }
  const TxString url("FILE://Srv/x");
  EXPECT_TRUE(url.StartsWith(TxString("file://"), TxString::CaseInsensitive));
  EXPECT_FALSE(url.StartsWith(TxString("file://"), TxString::CaseSensitive));
  EXPECT_TRUE(url.Contains(TxString("srv"), TxString::CaseInsensitive));
}

TEST(TxStringTest, TrimmedRemovesOnlyTabToCarriageReturnAndBlank) {
  const char* cases[][2] = {{"  a b  ", "a b"},
                            {"\t\n\v\f\rx\r\n", "x"},
                            {" \t ", ""},
                            {"", ""},
                            {"\x1fx\x1f", "\x1fx\x1f"},
                            {"\xA0x\xA0", "\xA0x\xA0"},
                            {"\x08x\x0e", "\x08x\x0e"}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(TxString(cases[i][0]).Trimmed(), cases[i][1]) << "row " << i;
  }
}

TEST(TxStringTest, ReplaceTextGoesLeftToRightWithoutRescanning) {
  struct Case {
    const char *text, *before, *after;
    TxString::CaseSensitivity cs;
    const char* expected;
  };
  const Case cases[] = {
      {"a//b///c", "//", "/", TxString::CaseSensitive, "a/b//c"},
      {"aaa", "a", "aa", TxString::CaseSensitive, "aaaaaa"},
      {"abc", "", "x", TxString::CaseSensitive, "abc"},
      {"abc", "abcd", "x", TxString::CaseSensitive, "abc"},
      {"abc", "abc", "", TxString::CaseSensitive, ""},
      {"HeLlo", "l", "_", TxString::CaseInsensitive, "He__o"},
      {"HeLlo", "l", "_", TxString::CaseSensitive, "HeL_o"},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    TxString text(cases[i].text);
    text.Replace(TxString(cases[i].before), TxString(cases[i].after), cases[i].cs);
    EXPECT_EQ(text, cases[i].expected) << "row " << i;
  }
  // The path code's loop: each pass shortens the text, so it ends.
  TxString path("x////////y//");
  for (int pass = 0; path.Contains(TxString("//")) && pass < 10; ++pass) {
    path.Replace(TxString("//"), TxString("/"), TxString::CaseSensitive);
  }
  EXPECT_EQ(path, "x/y/");
}

TEST(TxStringTest, ChopAndTruncateClipTheirCounts) {
  struct Case {
    char op;
    Tevrol::Long n;
    const char* expected;
  };
  const Case cases[] = {{'C', 1, "ab"},  {'C', 3, ""},     {'C', 9, ""},
                        {'C', 0, "abc"}, {'C', -1, "abc"}, {'T', 1024, "abc"},
                        {'T', 2, "ab"},  {'T', 0, ""},     {'T', -1, ""}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    TxString s("abc");
    if (cases[i].op == 'C') {
      s.Chop(cases[i].n);
    } else {
      s.Truncate(cases[i].n);
    }
    EXPECT_EQ(s, cases[i].expected) << "row " << i;
  }
}

TEST(TxStringTest, EditsInPlaceLeaveCopiesAlone) {
  TxString s("a\\b\\c");
  const TxString copy(s);
  TxString assigned;
  assigned = s;
  s.Replace(TxChar('\\'), TxChar('/'));
  EXPECT_EQ(s, "a/b/c");
  s.Remove(TxChar('/'));
  EXPECT_EQ(s, "abc");
  s.Remove(TxChar('B'), TxString::CaseInsensitive);
  EXPECT_EQ(s, "ac");
  s.Prepend(TxString("<")).Append(TxChar('>'));
  s += ".";
  EXPECT_EQ(s + TxString("!"), "<ac>.!");
  s.Clear();
  EXPECT_TRUE(s.IsEmpty());
  s = "reused";
  EXPECT_EQ(s, "reused");
  EXPECT_EQ(copy, "a\\b\\c");
  EXPECT_EQ(assigned, "a\\b\\c");
}

TEST(TxStringTest, EditsAcceptTheTextItself) {
  TxString s("ab");
  s.Append(s);
  EXPECT_EQ(s, "abab");
  s.Prepend(s);
  EXPECT_EQ(s, "abababab");
  s += s;
  EXPECT_EQ(s.GetLength(), 16);
  s = s;
  EXPECT_EQ(s.GetLength(), 16);
  s.Replace(s, TxString("x"));
  EXPECT_EQ(s, "x");
  s.Replace(TxString("x"), s);
  EXPECT_EQ(s, "x");
}

TEST(TxStringTest, ArgumentRendersNumbersIntoThePlaceholder) {
  struct Case {
    const char* format;
    Tevrol::Long value, width, base;
    char fill;
    const char* expected;
  };
  const Case cases[] = {
      {"POSIX error %1 from ", 2, 0, 10, ' ', "POSIX error 2 from "},
      {"no placeholder", 5, 0, 10, ' ', "no placeholder"},
      {"%1 and %1", 3, 0, 10, ' ', "3 and 3"},
      {"%1", 255, 0, 16, ' ', "ff"},
      {"%1", 5, 0, 2, ' ', "101"},
      {"%1", 35, 0, 36, ' ', "z"},
      {"%1", 10, 0, 1, ' ', "10"},
      {"%1", INT_MIN, 0, 10, ' ', "-2147483648"},
      {"%1", INT_MIN, 0, 2, ' ', "-10000000000000000000000000000000"},
      {"[%1]", 7, 4, 10, ' ', "[   7]"},
      {"[%1]", 7, -4, 10, ' ', "[7   ]"},
      {"[%1]", -7, 4, 10, ' ', "[  -7]"},
      {"[%1]", -7, 4, 10, '0', "[-007]"},
      {"[%1]", 12345, 2, 10, ' ', "[12345]"},
      {"[%1]", 1, -8, 10, '.', "[1.......]"},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    EXPECT_EQ(TxString(c.format).Argument(c.value, c.width, c.base, TxChar(c.fill)), c.expected)
        << "row " << i;
  }
}

TEST(TxStringTest, SurvivesABytewiseMove) {
  alignas(TxString) unsigned char first[sizeof(TxString)];
  alignas(TxString) unsigned char second[sizeof(TxString)];
  TxString* moved = RelocateBytewise(new (first) TxString("moved text"), second);
  EXPECT_EQ(*moved, "moved text");
  const TxString copy(*moved);
  for (int i = 0; i < 100; ++i) moved->Append(TxChar('+'));  // regrows the moved buffer
  EXPECT_EQ(moved->GetLength(), 110);
  EXPECT_EQ(copy, "moved text");
  moved->~TxString();

  // An empty text holds no buffer, and moves as well.
  TxString* empty = RelocateBytewise(new (first) TxString(), second);
  empty->Append(TxString("x"));
  EXPECT_EQ(*empty, "x");
  empty->~TxString();
}

TEST(TxStringTest, OneObjectIsReadAndCopiedFromManyThreads) {
  const TxString shared("file:///usr/lib/libTevrolDLL.so");
  const TxChar slash('/');
  const int iterations = 20000 / kStressScale;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < iterations; ++i) {
        TxString copy(shared);
        TxString empty = NULLString;
        copy.Append(slash);
        const bool ok = copy.StartsWith(shared) && copy.GetLength() == shared.GetLength() + 1 &&
                        shared.LastIndexOf(slash, -1) == 15 && shared.Mid(7, 1) == "/" &&
                        Bytes(shared.ToAscii()) == "file:///usr/lib/libTevrolDLL.so" &&
                        empty.IsEmpty() && NULLString == "";
        if (!ok) ++mismatches;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
