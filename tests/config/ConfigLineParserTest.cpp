#include "config/ConfigLineParser.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "ConfigTestSupport.h"
#include "config/ConfigSystemImpl.h"

namespace {

// A literal with its zero bytes.
template <std::size_t N>
std::string Bytes(char const (&literal)[N]) {
  return std::string(literal, N - 1);
}

// Reads `file` as Import reads an opened file and dumps the store.
std::string Imported(std::string const& file) {
  ConfigSystemImpl system;
  MemoryStream stream(file);
  system.ImportLines(stream, nullptr);
  std::string dump = Dump(system);
  system.Shutdown();
  return dump;
}

// The file grammar: each file and the store it gives.
TEST(ConfigLineParserTest, FilesAndTheStoreTheyGive) {
  const std::string x1017(1017, 'x');
  struct Case {
    std::string file;
    std::string store;
  } const cases[] = {
      {"[Tuner]\n\"Station\"=\"Radio One\"\n\"Volume\"=d:0000001f\n\"Mask\"=hex:0a,ff,10\n"
       "\"Volume\" = d:1f\n",
       "Tuner/Mask=h:0aff10 Tuner/Station=\"Radio One\" Tuner/Volume=n:31"},
      // Numbers: "%8x" whatever the letter says, 32 bits, 0 without digits.
      {"[N]\n\"a\"=d:10\n\"b\"=dec:10\n\"c\"=dword:ffffffff\n\"d\"=D:123456789\n\"e\"=d:\n"
       "\"f\"=d:zz\n\"g\"=d:0x1F\n\"h\"=dx1\n\"i\"=7\n\"j\"=x:1\n",
       "N/a=n:16 N/b=n:16 N/c=n:-1 N/d=n:305419896 N/e=n:0 N/f=n:0 N/g=n:31"},
      // Byte lists: one byte every third place, whatever stands there.
      {"[B]\n\"a\"=hex:1,2,3\n\"b\"=h:0a, ff, 10\n\"c\"=hex:\n\"d\"=H:0a ff\n\"e\"=h:0a::ff\n"
       "\"f\"=hex:0a,ff,10\r\n\"g\"=hx\n\"h\"=h:abc\n",
       "B/a=h:01 B/b=h:0aff B/c=h: B/d=h:0aff B/e=h:0a B/f=h:0aff10 B/h=h:ab"},
      // Texts: no escape, what follows the closing quote is dropped.
      {"[T]\n\"a\"=\"x\"y\"\n\"b\"=\"\"\n\"c\"=\"open\n\"d\"=\"v\"\r\n\"\"=\"empty key\"\n",
       "T/=\"empty key\" T/a=\"x\" T/b=\"\" T/d=\"v\""},
      // Key names: up to the next double quote; "=" right behind it.
      {"[K]\n\"open=d:1\n\"sp\" =d:1\n\"tab\"\t=d:1\n\"ok\"=d:1\n", "K/ok=n:1"},
      // Headers: up to "]", the rest of the line ignored; without "]" the
      // name keeps the line end; [] is a group; a header makes no group.
      {"[]\n\"k\"=d:1\n[G] comment\n\"k\"=d:2\n[Open\r\n\"k\"=d:3\n[Empty]\n",
       "/k=n:1 G/k=n:2 Open\\x0d\\x0a/k=n:3"},
      // Only the first byte decides: blanks, comments, keys before a header.
      {"\"early\"=d:1\n# c\n; c\n\n [H]\n[G]\n  \"k\"=d:1\n\"late\"=d:2\n", "G/late=n:2"},
      // CR LF reads as LF.
      {"[G]\r\n\"s\"=\"x\"\r\n\"n\"=d:1f\r\n\"h\"=h:01,02\r\n", "G/h=h:0102 G/n=n:31 G/s=\"x\""},
      // A byte 0 ends the line's text.
      {Bytes("[G]\n\"a\0b\"=d:1\n\"t\"=\"v\0\"\n\"n\"=d:1f\0ff\n[\0X]\n\"z\"=d:1\n"),
       "/z=n:1 G/n=n:31"},
      // The last bytes without a line end are no line.
      {"[G]\n\"a\"=d:1\n\"b\"=d:2", "G/a=n:1"},
      {"[G]\n\"a\"=d:1\n\"b\"=d:2\r", "G/a=n:1"},
      // Over 1023 bytes: the first 1023 are a line, the rest another.
      {"[G]\n\"k\"=\"" + x1017 + "\"\"r\"=d:5\n", "G/k=\"" + x1017 + "\" G/r=n:5"},
      {"[G]\n\"k\"=\"" + x1017 + "x\"\n", ""},
      // A later line replaces value and kind; bytes above 0x7F are names too.
      {"[G]\n\"k\"=d:1\n\"k\"=\"t\"\n[Gr\xfc\xc3\x9f"
       "e]\n\"\xe4\"=h:ff\n",
       "G/k=\"t\" Gr\\xfc\\xc3\\x9fe/\\xe4=h:ff"},
      {"", ""},
      {"no line end at all", ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(Escaped(c.file.data(), c.file.size()).substr(0, 120));
    EXPECT_EQ(Imported(c.file), c.store);
  }
}

// What the configuration tool reports for single lines.
TEST(ConfigLineParserTest, NotesSayWhyALineIsIgnoredOrReadOtherwise) {
  using K = ConfigLineKind;
  using N = ConfigLineNote;
  struct Case {
    std::string line;
    K kind;
    N note;
  } const cases[] = {
      {"[Tuner]\n", K::Group, N::None},
      {"[Tuner] ; c\n", K::Group, N::TrailingBytes},
      {"[Tuner\n", K::Group, N::HeaderUnclosed},
      {"\"k\"=\"v\"\r\n", K::Text, N::None},
      {"\"k\"=\"v\"w\n", K::Text, N::TrailingBytes},
      {"\"k\"=d:0000001f\n", K::Number, N::None},
      {"\"k\"=d:9\n", K::Number, N::None},
      {"\"k\"=d:00000050\n", K::Number, N::None},  // the padded form is plainly hexadecimal
      {"\"k\"=d:31\n", K::Number, N::NumberLooksDecimal},
      {"\"k\"=d:123456789\n", K::Number, N::NumberTooLong},
      {"\"k\"=d:\n", K::Number, N::NumberNoDigits},
      {"\"k\"=d:1f x\n", K::Number, N::TrailingBytes},
      {"\"k\"=hex:0a,ff,10\n", K::Bytes, N::None},
      {"\"k\"=hex:0a,ff,1\n", K::Bytes, N::BytesMisaligned},
      {"\"k\"=hex:0a, ff\n", K::Bytes, N::BytesMisaligned},
      {"\"k\"=hex:0a,ff,10,zz\n", K::Bytes, N::BytesMisaligned},
      {"\"k\"=hex:\n", K::Bytes, N::None},
      {"\n", K::Ignored, N::Blank},
      {" \t\r\n", K::Ignored, N::Blank},
      {"# comment\n", K::Ignored, N::Comment},
      {"  [G]\n", K::Ignored, N::LeadingBlank},
      {"\"k\" = d:1\n", K::Ignored, N::BlankBeforeEquals},
      {"\"k\":d:1\n", K::Ignored, N::NoEquals},
      {"\"k=d:1\n", K::Ignored, N::KeyNameUnclosed},
      {"\"k\"=\"v\n", K::Ignored, N::TextUnclosed},
      {"\"k\"=d1\n", K::Ignored, N::NoColon},
      {"\"k\"=7\n", K::Ignored, N::UnknownValueKind},
      {Bytes("\"k\"=d:1\0\n"), K::Number, N::ZeroByte},
      {Bytes("\0[G]\n"), K::Ignored, N::ZeroByte},
  };
  unsigned char bytes[kConfigLineBufferSize];
  for (auto const& c : cases) {
    SCOPED_TRACE(Escaped(c.line.data(), c.line.size()));
    std::vector<char> line(c.line.begin(), c.line.end());
    line.push_back('\0');
    ConfigLine parsed;
    ParseConfigLine(line.data(), static_cast<Tevrol::ULong>(c.line.size()), true, false, bytes,
                    parsed);
    EXPECT_EQ(parsed.kind, c.kind);
    EXPECT_EQ(parsed.note, c.note) << DescribeConfigLineNote(parsed.note);
  }
  ConfigLine parsed;
  char key[] = "\"k\"=d:1\n";
  ParseConfigLine(key, 8, false, false, bytes, parsed);
  EXPECT_EQ(parsed.note, N::KeyBeforeGroup);
  ParseConfigLine(key, 8, true, true, bytes, parsed);
  EXPECT_EQ(parsed.kind, K::Number);
  EXPECT_EQ(parsed.note, N::CutLineRest);
  char cut[] = "\"k\"=d:1";  // a piece that ends without a line end
  ParseConfigLine(cut, 7, true, false, bytes, parsed);
  EXPECT_EQ(parsed.note, N::LineCut);

  // The tool prints one sentence per note: each its own, "" only for None.
  std::set<std::string> sentences;
  for (int note = 0; note <= static_cast<int>(N::BytesMisaligned); ++note) {
    std::string const sentence = DescribeConfigLineNote(static_cast<N>(note));
    EXPECT_EQ(sentence.empty(), note == 0) << note;
    sentences.insert(sentence);
  }
  EXPECT_EQ(sentences.size(), static_cast<std::size_t>(N::BytesMisaligned) + 1);
}

}  // namespace
