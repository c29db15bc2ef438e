#include "file/PathHelper.h"

#include <gtest/gtest.h>

#include <string>

#include "FileTestSupport.h"

using Tevrol::File::Path;
using Tevrol::File::PathHelper;

namespace {

// Rows "path|folder|file".
TEST(PathHelperTest, CutFileNameGivesParentAndLeaf) {
  for (char const* row : {"/a|/|a", "a||a", "/||", "C:/d/f.txt|C:/d|f.txt",
                          "file://h/a|file://h/|a", "C:dir||C:dir"}) {
    SCOPED_TRACE(row);
    const std::vector<std::string> f = Fields(row);
    Path folder = P("stale"), same = P(f[0]);
    EXPECT_TRUE(PathHelper::CutFileName(same, folder, same));  // the path may also receive a part
    EXPECT_EQ(Str(folder) + "|" + Str(same), f[1] + "|" + f[2]);
  }
}

// Rows "path|absolute path", '@' standing for the executable's folder.
TEST(PathHelperTest, RelativePathsGoBelowTheExecutableFolder) {
  const std::string folder = Str(PathHelper::GetExecutableFolder());
  ASSERT_EQ(folder.substr(0, 1), "/");
  for (char const* row : {"C:/x|C:/x", "C:x|C:x", "/abs/|/abs", "file://h/x|file://h/x",
                          "rel\\f|@/rel/f", "|@", "ab:c|@/abc"}) {
    const std::vector<std::string> f = Fields(row);
    const std::string expected = f[1][0] == '@' ? folder + f[1].substr(1) : f[1];
    EXPECT_EQ(Str(PathHelper::CreateAbsolutePath(f[0].c_str())), expected) << row;
    EXPECT_EQ(Str(PathHelper::CreateAbsolutePath(P(f[0]))), expected) << row;
  }
}

}  // namespace
