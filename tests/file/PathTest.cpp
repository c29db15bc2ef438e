#include "file/Path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>

#include "FileTestSupport.h"

using Tevrol::File::Path;

namespace {

struct Case {
  char const* input;
  char const* text;
  int networkPart;
  bool absolute;
  char const* parent;  // null: HasParent() false and an empty GetParent()
  char const* leaf;
};

const Case kCases[] = {
    {"", "", -1, false, nullptr, ""},
    {" \t ", "", -1, false, nullptr, ""},
    {"/", "/", -1, true, nullptr, ""},
    {"///a//b/", "/a/b", -1, true, "/a", "b"},
    {"a/", "a", -1, false, nullptr, "a"},
    {"./a", "./a", -1, false, ".", "a"},
    {"..", "..", -1, false, nullptr, ".."},
    {"C:", "C:", -1, true, nullptr, ""},
    {"C:\\", "C:/", -1, true, nullptr, ""},
    {"C:\\dir\\", "C:/dir", -1, true, "C:/", "dir"},
    {"ab:c", "abc", -1, false, nullptr, "abc"},
    {":a", "a", -1, false, nullptr, "a"},
    {":/", "", -1, false, nullptr, ""},
    {"a:b:c", "abc", -1, false, nullptr, "abc"},
    {"C:/a:b", "C/ab", -1, false, "C", "ab"},
    {"/fs/usb0:x/f", "/fs/usb0x/f", -1, true, "/fs/usb0x", "f"},
    {"\\\\", "/", -1, true, nullptr, ""},
    {"\\/x", "/x", -1, true, "/", "x"},
    {"//srv/share", "/srv/share", -1, true, "/srv", "share"},
    {"\\\\srv\\share\\f.txt", "file://srv/share/f.txt", 10, true, "file://srv/share", "f.txt"},
    {"file:///tmp/x/", "file:///tmp/x", 7, true, "file:///tmp", "x"},
    {"FILE://srv/x", "FILE://srv/x", 10, true, "FILE://srv/", "x"},
    {"file://srv/", "file://srv/", 10, true, nullptr, ""},
    {"file://C:/dir/x", "file://C:/dir/x", 10, true, "file://C:/dir", "x"},
    {"file://C:/dir", "file://C:/dir", 10, true, nullptr, "file://C:/dir"},
    {"file://srv:80/a/b", "file://srv:80/a/b", 14, true, "file://srv:80/a", "b"},
    {"file://srv/ab:c", "file://srv/abc", 11, true, nullptr, "file://srv/abc"},
    {"x/file://y", "x/file/y", -1, false, "x/file", "y"},
    {" a /", "a ", -1, false, nullptr, "a "},
    // Our answers where the rules leave the result open.
    {"file://srv", "file://srv/", 10, true, nullptr, ""},
    {"\\\\srv", "file://srv/", 10, true, nullptr, ""},
    {"file://", "file:///", 7, true, nullptr, ""},
    {"file://C:", "file://C:/", 10, true, nullptr, "file://C:/"},
    {"C:dir", "C:dir", -1, true, nullptr, "C:dir"},
};

TEST(PathTest, ConstructionGivesTheNormalFormAndItsParts) {
  for (std::size_t i = 0; i < std::size(kCases); ++i) {
    Case const& c = kCases[i];
    SCOPED_TRACE(testing::Message() << "row " << i << " \"" << c.input << '"');
    const Path path{TxString(c.input)};
    EXPECT_EQ(Str(path), c.text);
    EXPECT_EQ(path.GetNetworkPartForTesting(), c.networkPart);
    EXPECT_EQ(path.IsAbsolute(), c.absolute);
    EXPECT_EQ(path.HasParent(), c.parent != nullptr);
    const Path parent = path.GetParent();
    EXPECT_EQ(Str(parent), c.parent != nullptr ? c.parent : "");
    EXPECT_EQ(parent.GetNetworkPartForTesting(), c.networkPart);
    EXPECT_EQ(Str(path.GetLeaf()), c.leaf);
  }
}

TEST(PathTest, AppendAddsOneComponentAndIgnoresWhatCannotBeOne) {
  const struct {
    char const* self;
    char const* other;
    char const* result;
  } rows[] = {
      {"/", "b", "/b"},
      {"/", "/b", "//b"},
      {"a", "b", "a/b"},
      {"a", "/b", "a/b"},
      {"a", "", "a"},
      {"", "/x", "/x"},
      {"a", "C:/x", "a"},
      {"a", "/", "a"},
      {"/a", "file://h/x", "/a"},
      {"C:/", "x", "C:/x"},
      {"file://h/a", "b", "file://h/a/b"},
      {"", "file://h/x", "file://h/x"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i);
    const Path self{TxString(rows[i].self)}, other{TxString(rows[i].other)};
    const int networkPart = (self.IsEmpty() ? other : self).GetNetworkPartForTesting();
    Path byPath(self), byText(self), byOperator(self);
    byPath.Append(other);
    byText.Append(TxString(rows[i].other));
    byOperator /= other;
    for (Path const& result : {byPath, byText, byOperator, Path(self, other)}) {
      EXPECT_EQ(Str(result), rows[i].result);
      EXPECT_EQ(result.GetNetworkPartForTesting(), networkPart);
    }
  }
}

TEST(PathTest, LocalPartIsCutTo1024CharactersButNotTheNetworkPart) {
  const std::string longName(1500, 'n');
  EXPECT_EQ(Str(Path(TxString(longName.c_str()))), longName.substr(0, 1024));
  const Path network{TxString(("file://srv/" + longName).c_str())};
  EXPECT_EQ(Str(network), "file://srv/" + longName.substr(0, 1023));
  // The trailing '/' goes before the cut: 1024 characters and a '/' need none.
  EXPECT_EQ(Str(Path(TxString((longName.substr(0, 1024) + "/").c_str()))),
            longName.substr(0, 1024));
  // Append does not cut.
  EXPECT_EQ(Path(Path(TxString(longName.substr(0, 1024).c_str())), Path(TxString("x"))).GetLength(),
            1026);
}

// Random texts from the pieces that the normal form cares about. Every
// result keeps ':' only at index 1 of the local part, which has at most 1024
// characters; results of inputs that lose no ':', need no cut and have no
// blank before a final separator also have no "//", no blank at either end,
// no trailing '/' but for a root, and come back unchanged when built again.
TEST(PathTest, GeneratedTextsKeepTheNormalForm) {
  static char const* const pieces[] = {"/",  "\\", ":",       "a",     "C",    "b.c", " ",
                                       "\t", "..", "file://", "FiLe:", "\\\\", "//",  "x:"};
  std::mt19937 random(20240611);
  for (int n = 0; n < 20000; ++n) {
    std::string input;
    const int count = static_cast<int>(random() % 12);
    for (int k = 0; k < count; ++k) input += pieces[random() % std::size(pieces)];
    if (n % 50 == 0) input += std::string(1000 + random() % 60, 'z') + pieces[random() % 3];
    SCOPED_TRACE('"' + input + '"');
    const Path path{TxString(input.c_str())};
    const std::string text = Str(path);
    const std::string local =
        text.substr(path.GetNetworkPartForTesting() < 0
                        ? 0
                        : static_cast<std::size_t>(path.GetNetworkPartForTesting()));
    ASSERT_LE(local.size(), 1024u);
    const std::size_t colon = local.find(':');
    ASSERT_TRUE(colon == std::string::npos ||
                (colon == 1 && local.find(':', 2) == std::string::npos));

    const std::size_t first = input.find_first_not_of(" \t"), last = input.find_last_not_of(" \t");
    const std::string trimmed =
        first == std::string::npos ? "" : input.substr(first, last - first + 1);
    const std::size_t body = trimmed.find_last_not_of("/\\");
    const bool blankBeforeFinalSeparator = body != std::string::npos && body + 1 < trimmed.size() &&
                                           (trimmed[body] == ' ' || trimmed[body] == '\t');
    // A leading "\\\\" becomes "file://", which brings a ':' of its own.
    const auto colonsIn = std::count(input.begin(), input.end(), ':') +
                          (trimmed.size() >= 3 && trimmed.compare(0, 2, "\\\\") == 0 ? 1 : 0);
    if (colonsIn != std::count(text.begin(), text.end(), ':') || input.size() > 1024 ||
        blankBeforeFinalSeparator) {
      continue;
    }
    EXPECT_EQ(local.find("//"), std::string::npos);
    const bool root = local == "/" || (local.size() == 3 && local[1] == ':');
    EXPECT_TRUE(local.empty() || local.back() != '/' || root);
    EXPECT_TRUE(text.empty() || (text.front() > ' ' && text.back() > ' '));
    const Path again{TxString(text.c_str())};
    EXPECT_EQ(Str(again), text);
    EXPECT_EQ(again.GetNetworkPartForTesting(), path.GetNetworkPartForTesting());
  }
}

TEST(PathTest, CheckIllegalCharsRejectsOnlyControlCharactersBelow31) {
  const struct {
    char const* text;
    bool accepted;
  } rows[] = {{"", true},         {"<>|\"", true},  {"plain name.txt", true}, {"\x1f", true},
              {"\xff\x7f", true}, {"a\x1e", false}, {"\x01", false},          {"ok\tno", false}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    TxString text(rows[i].text);
    EXPECT_EQ(Tevrol::File::CheckIllegalChars(text), rows[i].accepted) << "row " << i;
  }
}

TEST(PathTest, SharedConstantsHoldTheirTexts) {
  using namespace Tevrol::File;
  Path::StartUp();
  TxString all = Get_fileURI() + Get_singleSlash() + Get_doubleSlash() + Get_dotLeaf() +
                 Get_dotdotLeaf() + Get_starLeaf() + Get_questionmarkLeaf();
  all.Append(Get_pathSep()).Append(Get_win32pathSep()).Append(Get_drvSep());
  int unused = 0;
  for (TxChar const& c : illegalSpecialChars) c == TxChar() ? ++unused : (all.Append(c), 0);
  EXPECT_EQ(Str(all), "file://///...*?/\\:<>|\"");
  EXPECT_EQ(unused, 18);
}

}  // namespace
