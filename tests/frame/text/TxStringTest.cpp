#include "frame/text/TxString.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "frame/text/TxStringArray.h"
#include "frame/text/TxTokenizer.h"
#include "support/StressScale.h"

namespace {

std::string Text(TxString const& s) {
  return s.ToLatin1().GetConstData();  // units above 255 show as '?'
}

// Constant-initialised, as the path code's table of special characters is.
constexpr TxChar kTable[] = {TxChar(':'), TxChar()};
static_assert(kTable[0] == TxChar(std::uint16_t{0x3A}) && !(kTable[1] >= kTable[0]));
// Initialised dynamically before main from an object of the library's own
// translation unit, which must be valid by then.
const TxString g_early = TxString(NULLString).Append(kTable[0]);

TEST(TxStringTest, EveryByteRoundTripsThroughBothConversions) {
  EXPECT_EQ(Text(g_early), ":");
  std::string all;
  TxString units;
  for (int b = 0; b < 256; ++b) units.Append(TxChar((all += static_cast<char>(b)).back()));
  EXPECT_TRUE(TxString(all.c_str() + 1) == units.Mid(1, -1));
  units.Append(TxChar(std::uint16_t{0x100})).Append(TxChar(std::uint16_t{0xFFFF}));
  const std::string utf8 = "/tmp/\xC3\xBC\xC3\x9F/\xE6\x97\xA5.txt";
  // Each expected text includes the terminating zero byte.
  const std::tuple<TxString, std::string> rows[] = {
      {units, all + "??" + '\0'}, {TxString(utf8.c_str()), utf8 + '\0'}, {NULLString, {'\0'}}};
  for (const auto& [text, bytes] : rows) {
    EXPECT_EQ(std::string(text.ToAscii(), bytes.size()), bytes);
    EXPECT_EQ(std::string(text.ToLatin1().GetData(), bytes.size()), bytes);
  }
}

// Splits text at separator and shows the result as "<count>:<token>|<token>...".
std::string Split(TxTokenizer& tokenizer, TxString const& text, char separator) {
  tokenizer.m_separator = TxChar(separator);
  tokenizer.TokenizeString(text, TxString::KeepEmptyTokens, true);
  std::string shown = std::to_string(tokenizer.m_tokenCount) + ":";
  for (Tevrol::Long i = 0; i < tokenizer.m_tokenCount; ++i)
    shown += (i > 0 ? "|" : "") + Text(tokenizer.ReturnToken(i));
  return shown;
}

// Applies operation op to text and shows the result, numbers and bools in
// decimal, a TxChar as itself (TxChar() as nothing). a is a position, count,
// value or CaseSensitivity; b a count, field width or character.
std::string Apply(char op, const char* text, Tevrol::Long a, Tevrol::Long b) {
  TxString s(text);
  const TxChar c(static_cast<char>(b));
  const auto cs = static_cast<TxString::CaseSensitivity>(a);
  // clang-format off
  switch (op) {
    case 'L': return Text(s.Left(a));
    case 'R': return Text(s.Right(a));
    case 'M': return Text(s.Mid(a, b));
    case 'G': return Text(TxString().Append(s.GetAt(a)).Append(s[a]));
    case 'I': return std::to_string(s.IndexOf(c, a, TxString::CaseSensitive));
    case 'J': return std::to_string(s.LastIndexOf(c, a, TxString::CaseSensitive));
    case 'C': s.Chop(a); return Text(s);
    case 'T': s.Truncate(a); return Text(s);
    case 'S': return std::to_string(s.StartsWith(TxString("file://"), cs));
    case 'K': return std::to_string(s.Count(c, cs));
    case 'W': return Text(s.Trimmed());
    case 'P': return Text(s.Replace(TxString("//"), TxString("/"), TxString::CaseSensitive));
    case 'Q': return Text(s.Replace(TxString(""), TxString("x"), TxString::CaseSensitive));
    case 'A': return Text(s.Argument(a, b, 10, TxChar(' ')));
    case 'X': { TxTokenizer tokenizer; return Split(tokenizer, s, static_cast<char>(b)); }
    case 'E': return std::to_string(!s.Compare(TxString("path")) + (s == "path") + !(s != "path"));
  }
  // clang-format on
  for (int pass = 0; s.Contains(TxString("//")) && pass < 10; ++pass)  // the path code's loop
    s.Replace(TxString("//"), TxString("/"), TxString::CaseSensitive);
  return Text(s);
}

TEST(TxStringTest, OperationsClipPositionsAndCounts) {
  const Tevrol::Long cs = TxString::CaseSensitive, ci = TxString::CaseInsensitive;
  // Letters as in Apply: L Left, R Right, M Mid, G GetAt and [], I IndexOf,
  // J LastIndexOf, C Chop, T Truncate, S StartsWith "file://", K Count,
  // W Trimmed, P Replace "//" by "/", Q Replace "" by "x", U the "//" loop,
  // A Argument (base 10, blank fill), X TxTokenizer, E equality with "path".
  // clang-format off
  const std::tuple<char, const char*, Tevrol::Long, Tevrol::Long, const char*> rows[] = {
      {'L', "abc", 2, 0, "ab"}, {'L', "abc", 65536, 0, "abc"}, {'L', "", 1, 0, ""},
      {'L', "abc", -1, 0, ""}, {'R', "abc", 2, 0, "bc"}, {'R', "abc", 4, 0, "abc"},
      {'R', "", 1, 0, ""}, {'R', "abc", -1, 0, ""}, {'M', "abcde", 1, 3, "bcd"},
      {'M', "abcde", 3, 3, "de"}, {'M', "abcde", 5, -1, ""}, {'M', "abcde", 2, -1, "cde"},
      {'M', "abcde", 9, 1, ""}, {'M', "abcde", -1, -1, "abcde"}, {'M', "abcde", -2, 2, "ab"},
      {'M', "abcde", 1, INT_MAX, "bcde"}, {'G', "", 0, 0, ""}, {'G', "ab", 1, 0, "bb"},
      {'G', "ab", -1, 0, ""}, {'G', "ab", 2, 0, ""}, {'G', "ab", INT_MIN, 0, ""},
      {'I', "a/b/c", 0, '/', "1"}, {'I', "a/b/c", -1, '/', "1"}, {'I', "a/b/c", 2, '/', "3"},
      {'I', "a/b/c", INT_MIN, '/', "1"}, {'I', "a/b/c", 4, '/', "-1"}, {'I', "", 0, '/', "-1"},
      {'I', "a/b/c", 5, '/', "-1"}, {'I', "a/b/c", INT_MAX, '/', "-1"},
      {'J', "a/b/c", -1, '/', "3"}, {'J', "a/b/c", 2, '/', "1"}, {'J', "a/b/c", 9, '/', "3"},
      {'J', "", -1, '/', "-1"}, {'C', "abc", 1, 0, "ab"}, {'C', "abc", 9, 0, ""},
      {'C', "abc", -1, 0, "abc"}, {'T', "abc", 1024, 0, "abc"}, {'T', "abc", 2, 0, "ab"},
      {'T', "abc", -1, 0, ""}, {'S', "FILE://x", ci, 0, "1"}, {'S', "FILE://x", cs, 0, "0"},
      {'S', "file:/", ci, 0, "0"}, {'K', "a/b/c", cs, '/', "2"}, {'K', "Aa@`", ci, 'a', "2"},
      {'K', "Aa@`[{", ci, '`', "1"}, {'W', " \t a b\n ", cs, 0, "a b"}, {'W', " \t ", cs, 0, ""},
      {'P', "a//b///c", cs, 0, "a/b//c"}, {'Q', "abc", cs, 0, "abc"}, {'Q', "", cs, 0, ""},
      {'U', "x////////y//", cs, 0, "x/y/"}, {'A', "%1", INT_MIN, 0, "-2147483648"},
      {'A', "POSIX error %1 from ", 2, 0, "POSIX error 2 from "},
      {'A', "POSIX error %1 from ", -13, 0, "POSIX error -13 from "},
      {'A', "[%1|%1]", -7, 4, "[  -7|  -7]"}, {'X', "1,,3", 0, ',', "3:1||3"},
      {'X', "a:b", 0, ':', "2:a|b"}, {'X', "a,", 0, ',', "2:a|"}, {'X', ",", 0, ',', "2:|"},
      {'X', "", 0, ',', "1:"}, {'X', "a:b,c", 0, ',', "2:a:b|c"}, {'E', "path", 0, 0, "3"},
      {'E', "patH", 0, 0, "0"}, {'E', "pat", 0, 0, "0"}, {'E', "paths", 0, 0, "0"}};
  // clang-format on
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& [op, text, a, b, expected] = rows[i];
    EXPECT_EQ(Apply(op, text, a, b), expected) << "row " << i << ": " << op << ", " << a;
  }
}

TEST(TxStringTest, TrimmedRemovesExactlyTabToCarriageReturnAndBlank) {
  for (int unit = 0; unit < 0x200; ++unit) {
    const TxChar c(static_cast<std::uint16_t>(unit));
    const bool space = unit == ' ' || (unit >= '\t' && unit <= '\r');
    const TxString padded = TxString().Append(c).Append(c).Append(TxChar('x')).Append(c);
    EXPECT_EQ(padded.Trimmed().GetLength(), space ? 1 : 4) << "unit " << unit;
  }
}

TEST(TxStringTest, EditsLeaveCopiesAloneAcceptTheTextItselfAndReadNullAsEmpty) {
  const char* none = nullptr;
  TxString s("ab"), assigned;
  const TxString copy(s);
  assigned = s;
  s.Replace(TxChar('b'), TxChar('c'));  // in place: a shallow copy would see it
  s.Append(s);                          // each of these grows the buffer it reads from
  s.Prepend(s);
  s += s;
  s = s;
  EXPECT_EQ(Text(s), "acacacacacacacac");
  s.Replace(s, TxString("xc")).Prepend(TxString("<")).Append(TxChar('>')) += none;
  s.Remove(TxChar('c'), TxString::CaseSensitive);
  EXPECT_EQ(Text(s + TxString("!")) + Text(copy) + Text(assigned), "<x>!abab");
  EXPECT_TRUE(TxString(none) == none && s != none && (s = none).IsEmpty());
}

TEST(TxStringTest, OneObjectIsReadAndCopiedFromManyThreads) {
  static const TxString shared("file:///usr/lib/x.so");
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000 / kStressScale; ++i) {
        const TxString copy = TxString(shared).Append(kTable[0]), empty(NULLString);
        failures += !copy.StartsWith(shared) || shared.LastIndexOf(TxChar('/'), -1) != 15 ||
                    Text(shared) != "file:///usr/lib/x.so" || !empty.IsEmpty() || NULLString != "";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
}

// Moves an object's bytes to storage, as containers do, and spoils the old
// bytes so that any pointer into the old object would show.
template <class T>
T* MoveBytewise(T* object, unsigned char* storage) {
  std::memcpy(storage, static_cast<void*>(object), sizeof(T));
  std::memset(static_cast<void*>(object), 0xA5, sizeof(T));
  return std::launder(reinterpret_cast<T*>(storage));
}

TEST(TxStringArrayTest, GrowsFromItsOwnElementsCopiesDeeplyAndMovesBytewise) {
  alignas(TxString) unsigned char texts[2][sizeof(TxString)];
  alignas(TxStringArray) unsigned char arrays[2][sizeof(TxStringArray)];
  TxStringArray* array = new (arrays[0]) TxStringArray();
  // It grows at sizes 4, 8, 16 and 32 and adds element 0 then, which lies in
  // the storage that the growth replaces.
  for (int i = 0; i < 40; ++i) {
    const TxString number(std::to_string(i).c_str());
    array->Add(i == 0 || i % 4 ? number : (*array)[0]);  // an lvalue: no copy is taken here
  }
  array = MoveBytewise(array, arrays[1]);
  TxString* text = MoveBytewise(new (texts[0]) TxString("40"), texts[1]);
  array->Add(text->Append(*text));
  TxStringArray copy(*array), assigned;
  assigned = copy;
  copy[0].Append(TxChar('!'));
  ASSERT_EQ(assigned.GetSize(), 41);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(Text(assigned[i]), i % 4 ? std::to_string(i) : "0") << i;
  EXPECT_EQ(Text((*array)[0]) + Text(copy[0]) + Text((*array)[40]), "00!4040");
  text->~TxString();
  array->~TxStringArray();
}

TEST(TxTokenizerTest, SplitsALineThenItsSecondTokenAndAnswersOutsideWithEmptyText) {
  TxTokenizer tokenizer;
  ASSERT_EQ(Split(tokenizer, TxString("w:1,2,,4,5,6,7,8"), ':'), "2:w|1,2,,4,5,6,7,8");
  const TxString fields = tokenizer.ReturnToken(1);
  tokenizer.InitializeTokenizer();
  EXPECT_TRUE(tokenizer.m_tokenCount == 0 && tokenizer.ReturnToken(0).IsEmpty());
  EXPECT_EQ(Split(tokenizer, fields, ','), "8:1|2||4|5|6|7|8");
  tokenizer.m_tokenCount = 50;  // callers may write the public count
  for (Tevrol::Long index : {-1, 8, 40}) EXPECT_TRUE(tokenizer.ReturnToken(index).IsEmpty());
}

}  // namespace
