#include "timetext/StrFunctionsPI.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

using S = StrFunctionsPI;
using Tevrol::Long;

int Sign(Long v) {
  return (v > 0) - (v < 0);
}

TEST(StrFunctionsPITest, NullRuleHoldsForEveryComparison) {
  const char* const e = "";
  const char* const args[][2] = {{nullptr, nullptr}, {nullptr, e}, {e, nullptr}, {e, e}};
  const Long expected[] = {0, -1, 1, 0};
  const unsigned short* const u = reinterpret_cast<const unsigned short*>(u"");
  for (int i = 0; i < 4; ++i) {
    const char* a = args[i][0];
    const char* b = args[i][1];
    SCOPED_TRACE(i);
    EXPECT_EQ(S::StrCmp(a, b), expected[i]);
    EXPECT_EQ(S::StrICmp(a, b), expected[i]);
    EXPECT_EQ(S::StrIColl(a, b), expected[i]);
    EXPECT_EQ(S::StrNCmp(a, b, 5, false), expected[i]);
    EXPECT_EQ(S::StrNCmp(a, b, 5, true), expected[i]);
    EXPECT_EQ(S::StrCmp(a ? u : nullptr, b ? u : nullptr), expected[i]);
    EXPECT_EQ(S::strEqual(a, b), expected[i] == 0);
  }
}

// Kinds: 'c' StrCmp (sign only), 'i' StrICmp, 'f' StrIColl, 'n'/'N' StrNCmp without/with case.
TEST(StrFunctionsPITest, ComparisonValuesAndSignedByteOrder) {
  struct Case {
    char kind;
    const char* a;
    const char* b;
    Long n;
    Long expected;
  } const cases[] = {
      {'i', "abc", "abd", 0, -3},    {'i', "abd", "abc", 0, 3},      {'i', "ab", "abc", 0, -3},
      {'i', "abc", "ab", 0, 3},      {'i', "ABC", "abc", 0, 0},      {'i', "\xE9", "a", 0, -1},
      {'f', "\xE9", "a", 0, 1},      {'i', "a", "\x80", 0, 1},       {'i', "\xC4", "\xE4", 0, 0},
      {'i', "\xDE", "\xFE", 0, 0},   {'i', "x\xD7", "x\xF7", 0, -2}, {'i', "\xDF", "\xFF", 0, -1},
      {'i', "\x8C", "\x9C", 0, -1},  {'f', "\x8C", "z", 0, 0},       {'f', "\x9C", "Z", 0, 0},
      {'f', "\xC4\xD6", "AO", 0, 0}, {'f', "\xD8\xF8", "oO", 0, 0},  {'f', "\xD7", "x", 0, -1},
      {'f', "\xDF", "s", 0, -1},     {'f', "\xFF", "y", 0, -1},      {'f', "\xF7", "\xD7", 0, 1},
      {'f', "a\xC9z", "aEb", 0, 3},  {'N', "abc", "ABD", 2, 0},      {'N', "abc", "ABD", 3, -1},
      {'N', "abc", "abc", 100, 0},   {'N', "\xC4x", "\xE4y", 1, 0},  {'N', "\xD7", "\xF7", 1, -1},
      {'N', "", "\xE9", 5, 1},       {'N', "a", "b", 0, 0},          {'n', "abc", "abd", 2, 0},
      {'n', "abc", "abd", 3, -1},    {'n', "a", "b", -5, 0},         {'c', "\xE9", "a", 0, 1},
      {'c', "ab", "abc", 0, -1},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    const Case& c = cases[i];
    switch (c.kind) {
      case 'c':
        EXPECT_EQ(Sign(S::StrCmp(c.a, c.b)), c.expected) << "row " << i;
        break;
      case 'i':
        EXPECT_EQ(S::StrICmp(c.a, c.b), c.expected) << "row " << i;
        break;
      case 'f':
        EXPECT_EQ(S::StrIColl(c.a, c.b), c.expected) << "row " << i;
        break;
      case 'n':
        EXPECT_EQ(Sign(S::StrNCmp(c.a, c.b, c.n, false)), c.expected) << "row " << i;
        break;
      default:
        EXPECT_EQ(S::StrNCmp(c.a, c.b, c.n, true), c.expected) << "row " << i;
    }
  }
}

TEST(StrFunctionsPITest, WideStrCmpStopsAtEitherEnd) {
  const unsigned short abc[] = {'a', 'b', 'c', 0}, ab[] = {'a', 'b', 0}, high[] = {0xFFFF, 0};
  EXPECT_EQ(S::StrCmp(abc, ab), 0);
  EXPECT_EQ(S::StrCmp(ab, abc), 0);
  EXPECT_EQ(S::StrCmp(high, abc), 0xFFFF - 'a');  // units subtract unsigned
  EXPECT_EQ(S::StrCmp(ab, high), 'a' - 0xFFFF);
}

TEST(StrFunctionsPITest, CaseRulesOnTheirBorders) {
  // Each row: byte, its lower and upper form.
  const unsigned char rows[][3] = {
      {'@', '@', '@'},    {'A', 'a', 'A'},    {'Z', 'z', 'Z'},    {'[', '[', '['},
      {'`', '`', '`'},    {'a', 'a', 'A'},    {'z', 'z', 'Z'},    {'{', '{', '{'},
      {0x8C, 0x8C, 0x8C}, {0x9C, 0x9C, 0x9C}, {0xBF, 0xBF, 0xBF}, {0xC0, 0xE0, 0xC0},
      {0xD6, 0xF6, 0xD6}, {0xD7, 0xD7, 0xD7}, {0xD8, 0xF8, 0xD8}, {0xDE, 0xFE, 0xDE},
      {0xDF, 0xDF, 0xDF}, {0xE0, 0xE0, 0xC0}, {0xF6, 0xF6, 0xD6}, {0xF7, 0xF7, 0xF7},
      {0xF8, 0xF8, 0xD8}, {0xFE, 0xFE, 0xDE}, {0xFF, 0xFF, 0xFF}};
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    char lower[] = {static_cast<char>(rows[i][0]), 0};
    char upper[] = {static_cast<char>(rows[i][0]), 0};
    S::StrLwr(lower);
    S::StrUpr(upper);
    EXPECT_EQ(static_cast<unsigned char>(lower[0]), rows[i][1]) << "row " << i;
    EXPECT_EQ(static_cast<unsigned char>(upper[0]), rows[i][2]) << "row " << i;
    // FindChar's case rule is the same lower rule.
    const char hay[] = {'.', static_cast<char>(rows[i][2]), 0};
    EXPECT_EQ(S::FindChar(hay, static_cast<char>(rows[i][1]), true, 0), 1) << "row " << i;
  }
}

TEST(StrFunctionsPITest, IToAWritesUpperCaseDigits) {
  struct Case {
    Long value, radix;
    const char* expected;
  } const cases[] = {{-255, 16, "-FF"},
                     {0, 7, "0"},
                     {255, 2, "11111111"},
                     {INT32_MAX, 36, "ZIK0ZJ"},
                     {INT32_MIN, 10, "-2147483648"},
                     {INT32_MIN, 2, "-10000000000000000000000000000000"},
                     {10, 1, ""},
                     {10, 37, ""}};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    char buffer[40];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(S::IToA(cases[i].value, buffer, cases[i].radix), buffer) << "row " << i;
    EXPECT_STREQ(buffer, cases[i].expected) << "row " << i;
  }
  EXPECT_EQ(S::IToA(5, nullptr, 10), nullptr);
}

TEST(StrFunctionsPITest, AxtoiOnOddInputs) {
  struct Case {
    const char* text;
    Tevrol::ULong expected;
  } const cases[] = {{"1F", 31},
                     {" 1 F ", 31},
                     {"12G4", 18},
                     {"0x10", 0},
                     {"123456789", 0x23456789},
                     {"*?", 0xAF},
                     {"+-./:;<=>", 0xDEFABCDE},
                     {"ffffffff", 0xFFFFFFFF},
                     {nullptr, 0},
                     {"", 0},
                     {"g1", 0},
                     {"\t1", 0},
                     {"1\xC1"
                      "2",
                      1},
                     {"aB", 0xAB}};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    EXPECT_EQ(S::axtoi(cases[i].text), cases[i].expected) << "row " << i;
  }
}

TEST(StrFunctionsPITest, FindAndFindCharCountFromTheStart) {
  struct Case {
    const char* s;
    const char* pattern;  // one byte: FindChar as well
    bool ignoreCase;
    Long start, expected;
  } const cases[] = {
      {"abcabc", "c", false, 0, 2},
      {"abcabc", "c", false, 3, 5},
      {"abcabc", "c", false, 6, -1},
      {"abc", "c", false, 7, -1},
      {"abc", "a", false, -1, -1},
      {"a\xE4", "\xC4", true, 0, 1},
      {"a\xE4", "\xC4", false, 0, -1},
      {"abcx", "b", false, 2, -1},
      {"abc", "", false, 0, -1},
      {"hello world", "world", false, 0, 6},
      {"hello world", "WORLD", true, 0, 6},
      {"hello world", "WORLD", false, 0, -1},
      {"aab", "ab", false, 0, 1},
      {"ab", "abc", false, 0, -1},
      {"x\xC4\xD6", "\xE4\xF6", true, 0, 1},
      {"ABAB", "ab", true, 1, 2},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    const Case& c = cases[i];
    EXPECT_EQ(S::Find(c.s, c.pattern, c.ignoreCase, c.start), c.expected) << "row " << i;
    if (std::strlen(c.pattern) == 1) {
      EXPECT_EQ(S::FindChar(c.s, c.pattern[0], c.ignoreCase, c.start), c.expected) << "row " << i;
    }
  }
  EXPECT_EQ(S::FindChar("abc", '\0', false, 0), -1);
}

TEST(StrFunctionsPITest, ReplaceAllNeverSearchesInsertedText) {
  struct Case {
    const char *source, *search, *replacement;
    bool ignoreCase;
    const char* expected;
  } const cases[] = {{"aXbXc", "X", "YY", false, "aYYbYYc"},
                     {"aaa", "aa", "b", false, "ba"},
                     {"aaaa", "a", "aa", false, "aaaaaaaa"},
                     {"abc", "", "X", false, "abc"},
                     {"", "a", "b", false, ""},
                     {"aXbx", "x", "-", true, "a-b-"},
                     {"aXbx", "x", "-", false, "aXb-"},
                     {"\xC4z\xE4", "\xE4", "", true, "z"}};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    char output[32];
    std::memset(output, 'x', sizeof output);
    std::string replacement = cases[i].replacement;
    EXPECT_EQ(S::ReplaceAll(cases[i].source, output, 1, cases[i].search, &replacement[0],
                            cases[i].ignoreCase),
              1)
        << "row " << i;
    EXPECT_STREQ(output, cases[i].expected) << "row " << i;
  }
}

TEST(StrFunctionsPITest, SetStringDataOwnsCopiesInBothWidths) {
  char* text = nullptr;
  S::SetStringData(text, "first");
  S::SetStringData(text, text + 2);  // a source inside the old string survives the release
  EXPECT_STREQ(text, "rst");
  S::SetStringData(text, nullptr);
  EXPECT_EQ(text, nullptr);
  S::StrFree(text);
  unsigned short* wide = nullptr;
  const unsigned short source[] = {'h', 0xE4, 0x1234, 0};
  S::SetStringData(wide, source);
  ASSERT_NE(wide, nullptr);
  EXPECT_NE(wide, source);
  EXPECT_EQ(S::StrCmp(wide, source), 0);
  EXPECT_EQ(wide[3], 0);
  S::StrFree(wide);
}

TEST(StrFunctionsPITest, IntelligentDownCaseExamples) {
  const char* const rows[][2] = {{"FRANKFURT AM MAIN", "Frankfurt am Main"},
                                 {"NEUSTADT AN DER WEINSTRASSE", "Neustadt an der Weinstrasse"},
                                 {"KARL-VON-WEG", "Karl-von-Weg"},
                                 {"AM ALTEN MARKT", "Am alten Markt"},
                                 {" AM SEE", " Am See"},
                                 {"ULM;DONAU", "Ulm"},
                                 {"(ABC)", "(Abc)"},
                                 {"a/b", "a/b"},
                                 {"", ""},
                                 {"BAD AM AM SEE", "Bad am am See"},
                                 {"MAIN AM", "Main Am"},
                                 {"X+Y\\Z>W", "X+Y\\Z>W"},
                                 {"\x8C\x8C\xC4\xDE", "\x8C\x9C\xE4\xFE"},
                                 {"DORF IN DER-DER-AU", "Dorf in Der-der-Au"}};
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    std::string text = rows[i][0];
    S::IntelligentDownCase(&text[0]);
    EXPECT_STREQ(text.c_str(), rows[i][1]) << "row " << i;
  }
  S::IntelligentDownCase(nullptr);
}

}  // namespace
