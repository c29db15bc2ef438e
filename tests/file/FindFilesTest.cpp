#include <algorithm>
#include <cstring>

#include "FileTestSupport.h"
#include "file/FileOperations.h"
#include "file/FileOperationsImpl.h"
#include "file/FindIterator.h"
#include "file/WildcardExpression.h"
#include "frame/text/TxStringArray.h"

using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperations;
using Tevrol::File::FileOperationsImpl;
using Tevrol::File::FindIterator;
using Tevrol::File::Path;

namespace {

std::string const kUtf8Name = "\xc3\xa4\xe2\x82\xac.txt";  // "ä€.txt"

class FindFilesTest : public filetest::TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    for (std::string leaf : {"a.log", "A.TXT", "a.txt.bak", "abc", "ac", "a.c", "b1", "d1", "a+",
                             "f(1)", "^a", "a$b", "x y", "b\\1", kUtf8Name.c_str()}) {
      filetest::Write(At(leaf), leaf);
    }
  }

  // The names the search of m_dir with this pattern finds, sorted, joined by ','.
  std::string Find(std::string const& pattern) const {
    TxStringArray found;
    FileOperationsImpl::FindFiles(TxString(m_dir.c_str()), TxString(pattern.c_str()), found);
    std::vector<std::string> names;
    for (Tevrol::Long i = 0; i < found.GetSize(); ++i) names.push_back(Str(found[i]));
    std::sort(names.begin(), names.end());
    std::string joined;
    for (auto const& name : names) joined += (joined.empty() ? "" : ",") + name;
    return joined;
  }
};

std::string Repeat(std::string const& text, int times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

TEST(WildcardTranslationTest, AnchorsEscapesTheDotAndCutsLongPatterns) {
  struct Row {
    std::string pattern;
    std::string expression;
  } const rows[] = {
      {"", "^$"},
      {"a.c", "^a\\.c$"},
      {"*.txt", "^.*\\.txt$"},
      {"a?c", "^a.c$"},
      {"[a-c]*+(^$\\", "^[a-c].*+(^$\\$"},
      // Stops once 1022 bytes are written: 1021 plain bytes, or a two-byte
      // step that ends at 1023, so the longest expression is 1024 bytes.
      {std::string(2000, 'a'), "^" + std::string(1021, 'a') + "$"},
      {std::string(1020, 'a') + "*zzz", "^" + std::string(1020, 'a') + ".*$"},
      {std::string(600, '.'), "^" + Repeat("\\.", 511) + "$"},
  };
  for (auto const& row : rows) {
    char expression[Tevrol::File::detail::kWildcardExpressionBytes];
    std::memset(expression, 'X', sizeof expression);
    Tevrol::File::detail::TranslateWildcard(TxString(row.pattern.c_str()), expression);
    ASSERT_LE(std::strlen(expression), 1024U);
    EXPECT_EQ(std::string(expression), row.expression) << row.pattern.substr(0, 20);
  }
}

// "pattern|leaves found": matching ignores case, is anchored at both ends,
// and leaves all other expression syntax (brackets, +, (, ^, $, "\\\\" for a
// backslash) as the basic syntax reads it.
TEST_F(FindFilesTest, PatternsSelectWholeNamesIgnoringCase) {
  for (std::string const& row : std::vector<std::string>{
           "*.LOG|a.log", "*.txt|A.TXT," + kUtf8Name, "a?c|a.c,abc", "a.c|a.c", "ABC|abc",
           "[a-c]?|a+,ac,b1", "a+|a+", "f(1)|f(1)", "^a|^a", "a$b|a$b", "x y|x y", "?|.",
           "\xc3\xa4\xe2\x82\xac*|" + kUtf8Name, "nothing*|", "*\\\\*|b\\1"}) {
    std::vector<std::string> const f = Fields(row);
    EXPECT_EQ(Find(f[0]), f[1]) << row;
  }
  std::string const all = Find("*");
  EXPECT_EQ(all,
            ".,..,A.TXT,^a,a$b,a+,a.c,a.log,a.txt.bak,abc,ac,b1,b\\1,d1,f(1),x y," + kUtf8Name);
  EXPECT_EQ(Find(""), "");
  // Cut before its "zzz" without a sign, the pattern finds everything.
  EXPECT_EQ(Find(std::string(600, '*') + "zzz"), all);
}

// The leaf selects in its parent; a path without a wildcard leaf lists the
// folder itself, and a "*" above the leaf is a plain character.
TEST_F(FindFilesTest, TheLeafSelectsInItsParentAndFailuresFindNothing) {
  std::string const folder = m_dir + "/d*x/sub";
  ASSERT_EQ(mkdir((m_dir + "/d*x").c_str(), 0700), 0);
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  filetest::Write(folder + "/inner", "x");
  auto walk = [](std::string const& path) {
    ErrorCode error;
    std::vector<std::string> found;
    for (FindIterator it = FileOperations::FindFiles(P(path), error); it != FindIterator(); ++it) {
      found.push_back(Str(*it));
    }
    EXPECT_EQ(error.code, ErrorCode::Success);
    std::sort(found.begin(), found.end());
    return found;
  };
  EXPECT_EQ(walk(folder + "/IN*"), std::vector<std::string>{folder + "/inner"});
  EXPECT_EQ(walk(folder),
            (std::vector<std::string>{folder + "/.", folder + "/..", folder + "/inner"}));
  EXPECT_EQ(walk(m_dir + "/*.LOG"), std::vector<std::string>{m_dir + "/a.log"});
  EXPECT_EQ(walk(m_dir + "/D*X"), std::vector<std::string>{m_dir + "/d*x"});

  // Failed searches look like empty ones.
  ErrorCode error(ErrorCode::OtherError, TxString("stale"));
  FindIterator missing = FileOperations::FindFiles(P(m_dir + "/none/*"), error);
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_TRUE(error.text.IsEmpty());
  EXPECT_EQ(missing.GetIndexForTesting(), -1);
  EXPECT_TRUE(missing == FindIterator());

  FindIterator relative = FileOperations::FindFiles(P("tmp/*"), error);
  EXPECT_EQ(error.code, ErrorCode::NotAbsolute);
  EXPECT_EQ(relative.GetIndexForTesting(), -999);

  // A pattern that does not compile reads nothing and gives the size as it
  // was; a folder that cannot be opened gives 0.
  TxStringArray names;
  names.Add(TxString("kept"));
  EXPECT_EQ(FileOperationsImpl::FindFiles(TxString(m_dir.c_str()), TxString("[a"), names), 1);
  EXPECT_EQ(FileOperationsImpl::FindFiles(TxString("/nonexistent/x"), TxString("*"), names), 0);
  EXPECT_EQ(names.GetSize(), 1);
}

TxStringArray Names(std::vector<char const*> const& names) {
  TxStringArray array;
  for (char const* name : names) array.Add(TxString(name));
  return array;
}

TEST(FindIteratorTest, StatesFromNoSearchToPastTheEndAndEqualityByPath) {
  FindIterator none;
  EXPECT_EQ(none.GetIndexForTesting(), -999);
  EXPECT_TRUE((*++none).IsEmpty());
  EXPECT_EQ(none.GetIndexForTesting(), -999);

  FindIterator empty(P("/a"), TxStringArray());
  EXPECT_EQ((++empty).GetIndexForTesting(), -1);
  EXPECT_TRUE((*empty).IsEmpty());
  EXPECT_TRUE(empty == none);

  FindIterator it(P("/a"), Names({"x", "y"}));
  EXPECT_EQ(Str(*it), "/a/x");
  ++it;
  FindIterator copy(it);
  EXPECT_EQ(Str(*++it), "");
  EXPECT_EQ(it.GetIndexForTesting(), 2);
  EXPECT_EQ((++it).GetIndexForTesting(), 2);
  EXPECT_TRUE(it == FindIterator());
  // The copy taken at "y" walks on by itself.
  EXPECT_EQ(Str(*copy), "/a/y");
  EXPECT_EQ((++copy).GetIndexForTesting(), 2);
  copy = copy;
  FindIterator assigned;
  assigned = FindIterator(P("/a"), Names({"y"}));
  EXPECT_EQ(Str(*assigned), "/a/y");

  // Equality goes by the full path.
  FindIterator first(P("/a"), Names({"x", "c"}));
  FindIterator second(P("/a"), Names({"c"}));
  EXPECT_TRUE(first != second);
  ++first;
  EXPECT_TRUE(first == second);  // positions 1 and 0 of different searches
  // An empty name ends a walk early; one Path cannot append yields the base.
  FindIterator blank(P("/a"), Names({""}));
  EXPECT_EQ(blank.GetIndexForTesting(), 0);
  EXPECT_TRUE(blank == FindIterator());
  EXPECT_EQ(Str(*FindIterator(P("/a"), Names({"c:d"}))), "/a");
}

}  // namespace
