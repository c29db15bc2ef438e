#include "timetext/StrFunctionsPI.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>

namespace {

using S = StrFunctionsPI;
using Tevrol::Long;

// 'c' StrCmp and 'n' StrNCmp count by sign only (they are strcmp and strncmp); 'i' StrICmp,
// 'f' StrIColl and 'N' StrNCmp with ignoreCase by value.
Long Compare(char kind, const char* a, const char* b, Long n) {
  const Long plain = kind == 'c' ? S::StrCmp(a, b) : S::StrNCmp(a, b, n, false);
  return kind == 'i'   ? S::StrICmp(a, b)
         : kind == 'f' ? S::StrIColl(a, b)
         : kind == 'N' ? S::StrNCmp(a, b, n, true)
                       : (plain > 0) - (plain < 0);
}

TEST(StrFunctionsPITest, ComparisonValuesNullsAndSignedByteOrder) {
  // clang-format off
  const std::tuple<char, const char*, const char*, Long, Long> rows[] = {
      {'i', "abc", "abd", 0, -3},    {'i', "ab", "abc", 0, -3},      {'i', "abc", "ab", 0, 3},
      {'i', "ABC", "abc", 0, 0},     {'i', "\xE9", "a", 0, -1},      {'f', "\xE9", "a", 0, 1},
      {'i', "\xC4", "\xE4", 0, 0},   {'i', "\xDE", "\xFE", 0, 0},    {'i', "x\xD7", "x\xF7", 0, -2},
      {'i', "\xDF", "\xFF", 0, -1},  {'i', "\x8C", "\x9C", 0, -1},    {'f', "\x8C", "z", 0, 0},
      {'f', "\x9C", "Z", 0, 0},      {'f', "\xC4\xD6", "AO", 0, 0},  {'f', "\xD8\xF8", "oO", 0, 0},
      {'f', "\xD7", "x", 0, -1},     {'f', "\xDF", "s", 0, -1},       {'f', "\xFF", "y", 0, -1},
      {'f', "\xF7", "\xD7", 0, 1},   {'N', "abc", "ABD", 2, 0},      {'N', "abc", "ABD", 3, -1},
      {'N', "abc", "ABC", 100, 0},   {'N', "\xC4x", "\xE4y", 1, 0},  {'N', "\xD7", "\xF7", 1, -1},
      {'N', "", "\xE9", 5, 1},       {'N', "a", "b", 0, 0},          {'n', "abc", "abd", 2, 0},
      {'n', "abc", "abd", 3, -1},    {'n', "a", "b", -5, 0},         {'c', "\xE9", "a", 0, 1}};
  // clang-format on
  for (const auto& [kind, a, b, n, expected] : rows) {
    EXPECT_EQ(Compare(kind, a, b, n), expected) << kind << " " << a << " " << b;
  }
  for (char k : std::string("cifnN")) {  // the null rule
    const Long results[] = {Compare(k, nullptr, nullptr, 5), Compare(k, nullptr, "", 5),
                            Compare(k, "", nullptr, 5)};
    EXPECT_TRUE(results[0] == 0 && results[1] == -1 && results[2] == 1) << k;
  }
  EXPECT_TRUE(S::strEqual(nullptr, nullptr) && !S::strEqual(nullptr, "") && S::strEqual("a", "a"));
  const unsigned short abc[] = {'a', 'b', 'c', 0}, ab[] = {'a', 'b', 0}, high[] = {0xFFFF, 0};
  EXPECT_EQ(S::StrCmp(abc, ab) + S::StrCmp(ab, abc), 0);  // 16 bits: a prefix compares equal
  EXPECT_EQ(S::StrCmp(high, abc), 0xFFFF - 'a');          // units subtract unsigned
}

TEST(StrFunctionsPITest, CaseRulesOnTheirBorders) {
  const std::string bytes = "@AZ[`az{\x8C\x9C\xBF\xC0\xD6\xD7\xD8\xDE\xDF\xE0\xF6\xF7\xF8\xFE\xFF";
  const std::string lower = "@az[`az{\x8C\x9C\xBF\xE0\xF6\xD7\xF8\xFE\xDF\xE0\xF6\xF7\xF8\xFE\xFF";
  const std::string upper = "@AZ[`AZ{\x8C\x9C\xBF\xC0\xD6\xD7\xD8\xDE\xDF\xC0\xD6\xF7\xD8\xDE\xFF";
  std::string lowered = bytes, raised = bytes;
  S::StrLwr(&lowered[0]);
  S::StrUpr(&raised[0]);
  EXPECT_EQ(lowered, lower);
  EXPECT_EQ(raised, upper);
}

TEST(StrFunctionsPITest, IToAAndAxtoi) {
  // clang-format off
  const std::tuple<Long, Long, const char*> numbers[] = {
      {-255, 16, "-FF"}, {0, 7, "0"}, {255, 2, "11111111"}, {INT32_MAX, 36, "ZIK0ZJ"}, {10, 1, ""},
      {10, 37, ""}, {INT32_MIN, 10, "-2147483648"}, {INT32_MIN, 2, "-10000000000000000000000000000000"}};
  const std::pair<const char*, Tevrol::ULong> hex[] = {
      {"1F", 31}, {" 1 F ", 31}, {"12G4", 18}, {"0x10", 0}, {"123456789", 0x23456789}, {"*?", 0xAF},
      {"aB", 0xAB}, {"ffffffff", ~0u}, {"", 0}, {nullptr, 0}, {"\t1", 0}, {"g1", 0}, {"1\xC1 2", 1},
      {"+-./:;<=>", 0xDEFABCDE}};
  // clang-format on
  for (const auto& [value, radix, expected] : numbers) {
    char buffer[40] = "the terminator must be written: xxxxxx";
    EXPECT_EQ(S::IToA(value, buffer, radix), buffer);
    EXPECT_STREQ(buffer, expected) << value << " radix " << radix;
  }
  for (const auto& [text, value] : hex) EXPECT_EQ(S::axtoi(text), value) << (text ? text : "null");
}

TEST(StrFunctionsPITest, FindAndFindCharCountFromTheStart) {
  // clang-format off
  const std::tuple<const char*, const char*, bool, Long, Long> rows[] = {  // a one-byte pattern
      {"abcabc", "c", false, 0, 2},   {"abcabc", "c", false, 3, 5},     {"abcabc", "c", false, 6, -1},
      {"abc", "c", false, 7, -1},     {"abc", "a", false, -1, -1},      {"a\xE4", "\xC4", true, 0, 1},
      {"a\xE4", "\xC4", false, 0, -1}, {"abc", "", false, 0, -1},       {"x wOrld", "WORLD", true, 0, 2},
      {"x wOrld", "world", false, 0, -1}, {"aab", "ab", false, 0, 1},   {"ab", "abc", false, 0, -1},
      {"x\xC4\xD6", "\xE4\xF6", true, 0, 1}, {"ABAB", "ab", true, 1, 2}};  // is a FindChar row too
  // clang-format on
  for (const auto& [s, pattern, ignoreCase, start, expected] : rows) {
    EXPECT_EQ(S::Find(s, pattern, ignoreCase, start), expected) << s << " " << pattern;
    if (std::strlen(pattern) == 1) {
      EXPECT_EQ(S::FindChar(s, pattern[0], ignoreCase, start), expected) << s << " " << pattern;
    }
  }
}

TEST(StrFunctionsPITest, ReplaceAllNeverSearchesInsertedText) {
  // Source, search, replacement, expected result, "i" for ignoreCase.
  // clang-format off
  const char* const rows[][5] = {
      {"aXbXc", "X", "YY", "aYYbYYc", ""}, {"aaa", "aa", "b", "ba", ""}, {"aaaa", "a", "aa", "aaaaaaaa", ""},
      {"abc", "", "X", "abc", ""}, {"", "a", "b", "", ""}, {"aXbx", "x", "-", "aXb-", ""},
      {"aXbx", "x", "-", "a-b-", "i"}, {"\xC4z\xE4", "\xE4", "", "z", "i"}};
  // clang-format on
  for (const auto& row : rows) {
    char output[32];
    std::string replacement = row[2];
    EXPECT_EQ(S::ReplaceAll(row[0], output, 1, row[1], &replacement[0], *row[4] != 0), 1);
    EXPECT_STREQ(output, row[3]) << row[0] << " " << row[4];
  }
}

TEST(StrFunctionsPITest, SetStringDataOwnsCopiesInBothWidths) {
  char* text = nullptr;
  S::SetStringData(text, "first");
  S::SetStringData(text, text + 2);  // a source inside the old string survives the release
  EXPECT_STREQ(text, "rst");
  S::SetStringData(text, nullptr);
  unsigned short* wide = nullptr;
  const unsigned short source[] = {'h', 0xE4, 0x1234, 0};
  S::SetStringData(wide, source);
  EXPECT_TRUE(text == nullptr && wide != source && std::memcmp(wide, source, sizeof source) == 0);
  S::StrFree(wide);
}

TEST(StrFunctionsPITest, IntelligentDownCaseExamples) {
  // clang-format off
  const char* const rows[] = {
      "FRANKFURT AM MAIN", "Frankfurt am Main", "KARL-VON-WEG", "Karl-von-Weg", "(ABC)", "(Abc)",
      "NEUSTADT AN DER WEINSTRASSE", "Neustadt an der Weinstrasse", " AM SEE", " Am See", "", "",
      "AM ALTEN MARKT", "Am alten Markt", "ULM;DONAU", "Ulm", "a/b", "a/b", "MAIN AM", "Main Am",
      "BAD AM AM SEE", "Bad am am See", "X+Y\\Z>W", "X+Y\\Z>W", "\x8C\x8C\xC4\xDE", "\x8C\x9C\xE4\xFE",
      "DORF IN DER-DER-AU", "Dorf in Der-der-Au"};
  // clang-format on
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; i += 2) {
    std::string text = rows[i];
    S::IntelligentDownCase(&text[0]);
    EXPECT_STREQ(text.c_str(), rows[i + 1]) << "row " << i / 2;
  }
  S::IntelligentDownCase(nullptr);
}

}  // namespace
