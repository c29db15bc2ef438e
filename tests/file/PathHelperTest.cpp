#include "file/PathHelper.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "FileTestSupport.h"

using Tevrol::File::Path;
using Tevrol::File::PathHelper;

namespace {

Path P(char const* text) {
  return Path(TxString(text));
}

TEST(PathHelperTest, CutFileNameGivesParentAndLeaf) {
  const struct {
    char const* path;
    char const* folder;
    char const* file;
  } rows[] = {{"/a", "/", "a"},
              {"a", "", "a"},
              {"/", "", ""},
              {"C:/d/f.txt", "C:/d", "f.txt"},
              {"file://h/a", "file://h/", "a"},
              {"C:dir", "", "C:dir"}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i);
    Path folder = P("stale"), file = P("stale");
    EXPECT_TRUE(PathHelper::CutFileName(P(rows[i].path), folder, file));
    EXPECT_EQ(Str(folder), rows[i].folder);
    EXPECT_EQ(Str(file), rows[i].file);
    Path same = P(rows[i].path);  // the path may also receive a part
    PathHelper::CutFileName(same, folder, same);
    EXPECT_EQ(Str(same), rows[i].file);
    EXPECT_EQ(Str(folder), rows[i].folder);
  }
}

TEST(PathHelperTest, DotDirectoriesByTheirLeaf) {
  PathHelper::StartUp();
  for (char const* dot : {"/x/..", ".", "a/.", "..", "C:/x/..", "file://h/.."})
    EXPECT_TRUE(PathHelper::IsDotDirectory(P(dot))) << dot;
  for (char const* other : {"/x/..a", "...", "/", "", "a.", "file://h/"})
    EXPECT_FALSE(PathHelper::IsDotDirectory(P(other))) << other;
}

TEST(PathHelperTest, RelativePathsGoBelowTheExecutableFolder) {
  const std::string folder = Str(PathHelper::GetExecutableFolder());
  ASSERT_EQ(folder.front(), '/');
  const struct {
    char const* path;
    std::string absolute;
  } rows[] = {{"C:/x", "C:/x"},
              {"C:x", "C:x"},
              {"/abs/", "/abs"},
              {"file://h/x", "file://h/x"},
              {"rel\\f", folder + "/rel/f"},
              {"", folder},
              {"ab:c", folder + "/abc"}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(Str(PathHelper::CreateAbsolutePath(rows[i].path)), rows[i].absolute) << "row " << i;
    EXPECT_EQ(Str(PathHelper::CreateAbsolutePath(P(rows[i].path))), rows[i].absolute)
        << "row " << i;
  }
}

}  // namespace
