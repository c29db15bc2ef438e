#include "file/Path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>

#include "FileTestSupport.h"
#include "file/PathModel.h"

using Tevrol::File::Path;

namespace {

// "text|network part|absolute|parent|leaf"; the parent is empty when there is
// none, and a '?' marks one that disagrees with HasParent() or lost the network part.
std::string Describe(Path const& path) {
  const Path parent = path.GetParent();
  const int networkPart = path.GetNetworkPartForTesting();
  const bool agrees =
      path.HasParent() != parent.IsEmpty() && parent.GetNetworkPartForTesting() == networkPart;
  return Str(path) + "|" + std::to_string(networkPart) + (path.IsAbsolute() ? "|1|" : "|0|") +
         Str(parent) + (agrees ? "|" : "?|") + Str(path.GetLeaf());
}

// Rows "input|" and what Describe gives.
TEST(PathTest, ConstructionGivesTheNormalFormAndItsParts) {
  for (std::string row :
       {"||-1|0||", " \t ||-1|0||", "/|/|-1|1||", "///a//b/|/a/b|-1|1|/a|b", "a/|a|-1|0||a",
        "./a|./a|-1|0|.|a", "..|..|-1|0||..", "C:|C:|-1|1||", "C:\\|C:/|-1|1||",
        "C:\\dir\\|C:/dir|-1|1|C:/|dir", "ab:c|abc|-1|0||abc", ":a|a|-1|0||a", ":/||-1|0||",
        "a:b:c|abc|-1|0||abc", "C:/a:b|C/ab|-1|0|C|ab", "/fs/usb0:x/f|/fs/usb0x/f|-1|1|/fs/usb0x|f",
        "\\\\|/|-1|1||", "\\/x|/x|-1|1|/|x", "//srv/share|/srv/share|-1|1|/srv|share",
        "\\\\srv\\share\\f.txt|file://srv/share/f.txt|10|1|file://srv/share|f.txt",
        "file:///tmp/x/|file:///tmp/x|7|1|file:///tmp|x",
        "FILE://srv/x|FILE://srv/x|10|1|FILE://srv/|x", "file://srv/|file://srv/|10|1||",
        "file://C:/dir/x|file://C:/dir/x|10|1|file://C:/dir|x",
        "file://C:/dir|file://C:/dir|10|1||file://C:/dir",
        "file://srv:80/a/b|file://srv:80/a/b|14|1|file://srv:80/a|b",
        "file://srv/ab:c|file://srv/abc|11|1||file://srv/abc", "x/file://y|x/file/y|-1|0|x/file|y",
        " a /|a |-1|0||a ",
        // Our answers where the rules leave the result open.
        "C:dir|C:dir|-1|1||C:dir"}) {
    const std::string input = row.substr(0, row.find('|'));
    EXPECT_EQ(input + "|" + Describe(P(input)), row);
  }
}

// A "file://" text with no '/' behind the host names no share: no network
// part, and the whole text in the local normal form, which is relative and
// builds the same path again.
TEST(PathTest, NetworkTextWithoutAShareIsALocalRelativeText) {
  for (std::string row :
       {"file://srv|file/srv|-1|0|file|srv", "\\\\srv|file/srv|-1|0|file|srv",
        "file://|file|-1|0||file", "file://localhost|file/localhost|-1|0|file|localhost",
        "FILE://C:|FILE/C|-1|0|FILE|C", "file://a:b|file/ab|-1|0|file|ab",
        "file://a :|file/a|-1|0|file|a", "file:// :|file|-1|0||file",
        "\\\\srv\\|file://srv/|10|1||"}) {
    const std::string input = row.substr(0, row.find('|'));
    const Path path = P(input);
    EXPECT_EQ(input + "|" + Describe(path), row);
    EXPECT_EQ(Describe(P(Str(path))), Describe(path)) << input;
  }
  EXPECT_EQ(Str(P("file://srv") /= P("x")), "file/srv/x");
  EXPECT_EQ(Str(P("file://" + std::string(1100, 'h'))), "file/" + std::string(1019, 'h'));
}

// Rows "this|other|result"; all three ways of appending agree, and only an
// empty path takes the network part of what it is given.
TEST(PathTest, AppendAddsOneComponentAndIgnoresWhatCannotBeOne) {
  for (char const* row :
       {"/|b|/b", "/|/b|//b", "a|b|a/b", "a|/b|a/b", "a||a", "|/x|/x", "a|C:/x|a", "a|/|a",
        "/a|file://h/x|/a", "C:/|x|C:/x", "file://h/a|b|file://h/a/b", "|file://h/x|file://h/x"}) {
    const std::vector<std::string> f = Fields(row);
    const Path self = P(f[0]), other = P(f[1]);
    const int networkPart = (self.IsEmpty() ? other : self).GetNetworkPartForTesting();
    for (Path const& result :
         {Path(self).Append(TxString(f[1].c_str())), Path(self) /= other, Path(self, other)}) {
      EXPECT_EQ(Str(result), f[2]) << row;
      EXPECT_EQ(result.GetNetworkPartForTesting(), networkPart) << row;
    }
  }
}

TEST(PathTest, LocalPartIsCutTo1024CharactersAfterItsTrailingSlashGoes) {
  const std::string name(1500, 'n'), kept = name.substr(0, 1024);
  EXPECT_EQ(Str(P(name)), kept);
  EXPECT_EQ(Str(P(kept + "/")), kept);
  EXPECT_EQ(Str(P("file://srv/" + name)), "file://srv/" + kept.substr(1));
  EXPECT_EQ(P(kept).Append(TxString("x")).GetLength(), 1026);  // Append does not cut
}

// Random texts from the pieces the normal form cares about, some with blanks
// around them. Every local part keeps ':' only at its index 1 and has at most
// 1024 characters. When no ':' was lost and no cut was needed, the text also
// has no "//", no blank at either end, no trailing '/' but for a root, and
// comes back unchanged when built again.
TEST(PathTest, GeneratedTextsKeepTheNormalForm) {
  static char const* const pieces[] = {"/",  "\\",      ":",     "a",    "C",  "b c",
                                       "..", "file://", "FiLe:", "\\\\", "//", "x:"};
  std::mt19937 random(20240611);
  for (int n = 0; n < 20000; ++n) {
    std::string core;
    for (unsigned k = random() % 12; k > 0; --k) core += pieces[random() % std::size(pieces)];
    if (n % 50 == 0) core += std::string(1000 + random() % 60, 'z') + pieces[random() % 3];
    SCOPED_TRACE('"' + core + '"');
    const Path path = P((n % 3 ? "" : " \t") + core + (n % 5 ? "" : " "));
    const std::string text = Str(path),
                      local = text.substr(std::max(0, path.GetNetworkPartForTesting()));
    ASSERT_LE(local.size(), 1024u);
    ASSERT_EQ(local.find(':', local.find(':') == 1 ? 2 : 0), std::string::npos);
    // A leading "\\\\" becomes "file://", which brings a ':' of its own.
    const long colons =
        std::count(core.begin(), core.end(), ':') + (core.size() > 2 && core.rfind("\\\\", 0) == 0);
    if (colons != std::count(text.begin(), text.end(), ':') || core.size() > 1024) continue;
    EXPECT_EQ(local.find("//"), std::string::npos);
    EXPECT_TRUE(local.size() < 2 || local.back() != '/' || (local.size() == 3 && local[1] == ':'));
    EXPECT_TRUE(text.empty() || (text.front() > ' ' && text.back() > ' '));
    EXPECT_EQ(Describe(P(text)), Describe(path));
  }
}

// Texts in every notation, from the pieces each step of the normal form
// treats on its own, against the model of those steps: same text, same
// network part. Init alone, on the raw text, keeps backslashes.
TEST(PathTest, BuildsWhatTheStepByStepModelBuilds) {
  static char const* const starts[] = {
      "",     "/",       "./",        "C:\\",          "c:/",         "\\\\srv\\s",
      "\\\\", "file://", "FILE://h/", "file:\\\\C:\\", "file://h:1/", "//",
      " \t"};
  static char const* const pieces[] = {"a", "dir", ".", "..",      "/",    "\\",  "//",
                                       ":", "C:",  " ", "file://", "\\\\", "x:y", "b c"};
  static char const* const ends[] = {"", "", "/", "\\", "//", " ", ":", "/ ", " :"};
  // Rare in the mix: texts with no share that need a second round, and a
  // local part that is a lone ':'.
  std::vector<std::string> texts = {"file:// :", "\\\\ : :", "FiLe:\\\\: ::", ":", "file:///:"};
  std::mt19937 random(4711);
  for (int n = 0; n < 400; ++n) {
    std::string text = starts[random() % std::size(starts)];
    for (unsigned k = random() % 8; k > 0; --k) text += pieces[random() % std::size(pieces)];
    if (n % 50 == 0) text += std::string(1020 + random() % 10, 'z') + "/";  // the cut
    texts.push_back(text + ends[random() % std::size(ends)]);
  }
  for (std::string const& text : texts) {
    SCOPED_TRACE('"' + text + '"');
    const Path path = P(text);
    const PathModel model{TxString(text.c_str())};
    EXPECT_EQ(Str(path), Str(model));
    EXPECT_EQ(path.GetNetworkPartForTesting(), model.NetworkPart());

    Path raw;
    raw.TxString::operator=(TxString(text.c_str()));
    raw.Init();
    TxString modelRaw(text.c_str());
    PathModel::Init(modelRaw);
    EXPECT_EQ(Str(raw), Str(modelRaw));
  }
}

TEST(PathTest, CheckIllegalCharsRejectsOnlyCharactersFrom1To30) {
  for (auto row : {std::pair{"", true},
                   {"<>|\"", true},
                   {"plain name", true},
                   {"\x1f\x7f\xff", true},
                   {"a\x1e", false},
                   {"\x01", false},
                   {"ok\tno", false}}) {
    TxString text(row.first);
    EXPECT_EQ(Tevrol::File::CheckIllegalChars(text), row.second) << row.first;
  }
  auto const& table = Tevrol::File::illegalSpecialChars;
  EXPECT_EQ(std::count(std::begin(table), std::end(table), TxChar()), 18);
}

}  // namespace
