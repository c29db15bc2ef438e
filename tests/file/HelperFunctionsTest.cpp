#include "file/HelperFunctions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "FileTestSupport.h"
#include "file/PDEnvInformation.h"
#include "file/PDEnvInformationForTesting.h"
#include "file/PathHelper.h"

namespace {

// Restores the two variables and the seams that a test changes.
struct HelperFunctionsTest : ::testing::Test {
  ~HelperFunctionsTest() override {
    HelperFunctions::ESCAPE = "\\";
    HelperFunctions::SEPARATOR = "/";
    detail::SetCmdNameForTesting(nullptr);
    detail::SetAllocateForTesting(nullptr);
  }
};

TEST_F(HelperFunctionsTest, CutFileNameSplitsBehindTheLastUnescapedSeparator) {
  const struct {
    char const* escape;
    char const* separator;
    char const* text;
    char const* folder;
    char const* file;
  } rows[] = {
      {"\\", "/", "dir/file", "dir/", "file"},
      {"\\", "/", "a/b/c", "a/b/", "c"},
      {"\\", "/", "a/", "a/", ""},
      {"\\", "/", "/file", "", "/file"},
      {"\\", "/", "file", "", "file"},
      {"\\", "/", "", "", ""},
      {"\\", "/", "a\\/b", "", "a\\/b"},
      {"\\", "/", "a/b\\/c", "a/", "b\\/c"},
      {"\\", "/", "a\\\\/b", "a\\\\/", "b"},
      {"%%", "::", "a::b%%::c::d", "a::b%%::c::", "d"},
      {"", "/", "x/y", "x/", "y"},
      {"\\", "", "x/y", "", "x/y"},
      {nullptr, "/", "x\\/y", "x\\/", "y"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i);
    HelperFunctions::ESCAPE = rows[i].escape;
    HelperFunctions::SEPARATOR = rows[i].separator;
    TxString folder("stale"), file("stale");
    HelperFunctions::CutFileName(TxString(rows[i].text), folder, file);
    EXPECT_EQ(Str(folder), rows[i].folder);
    EXPECT_EQ(Str(file), rows[i].file);
    TxString same(rows[i].text);  // the text may also receive a part
    HelperFunctions::CutFileName(same, same, file);
    EXPECT_EQ(Str(same), rows[i].folder);
  }
}

TEST_F(HelperFunctionsTest, ExecutableFolderHoldsThisProgram) {
  const std::string folder = Str(HelperFunctions::GetExecutableFolder());
  ASSERT_FALSE(folder.empty());
  EXPECT_EQ(folder.front(), '/');
  EXPECT_EQ(folder.back(), '/');
  EXPECT_EQ(access((folder + "file_tests").c_str(), X_OK), 0) << folder;
  const std::string name = Str(HelperFunctions::GetExecutableNameWithFolder());
  EXPECT_EQ(name.substr(name.rfind('/') + 1), "file_tests");
  EXPECT_EQ(Str(Tevrol::File::PathHelper::GetExecutableFolder()) + "/", folder);

  TxString result;
  EXPECT_TRUE(HelperFunctions::CreateAbsolutePath(TxString("C:/x"), result));
  EXPECT_EQ(Str(result), folder + "C:/x");  // only a leading separator makes it absolute
  HelperFunctions::CreateAbsolutePath(TxString("/x"), result);
  EXPECT_EQ(Str(result), "/x");
  HelperFunctions::SEPARATOR = "::";
  HelperFunctions::CreateAbsolutePath(TxString("x"), result);
  EXPECT_EQ(Str(result), folder + "::x");
  EXPECT_FALSE(HelperFunctions::IsAbsolutePath(TxString("")));
}

std::string g_fakePath;  // what the fake _cmdname answers
char* FakeCmdName(char* buffer, std::size_t size) {
  if (g_fakePath.size() >= size) return nullptr;
  return std::strcpy(buffer, g_fakePath.c_str());
}
char* FailingCmdName(char*, std::size_t) {
  return nullptr;
}
void* FailingAllocate(std::size_t) {
  return nullptr;
}

TEST_F(HelperFunctionsTest, UnreadableExecutablePathGivesAnEmptyFolderAndRelativePaths) {
  for (bool failAllocation : {false, true}) {
    SCOPED_TRACE(failAllocation ? "malloc fails" : "_cmdname fails");
    detail::SetCmdNameForTesting(failAllocation ? &FakeCmdName : &FailingCmdName);
    if (failAllocation) detail::SetAllocateForTesting(&FailingAllocate);
    g_fakePath = "/never/read";
    char buffer[8] = "untouch";
    EXPECT_EQ(PDEnvInformation::GetExecutablePath(buffer, sizeof(buffer)), -1);
    EXPECT_STREQ(buffer, "untouch");
    EXPECT_EQ(Str(HelperFunctions::GetExecutableFolder()), "");
    TxString result;
    HelperFunctions::CreateAbsolutePath(TxString("rel/f"), result);
    EXPECT_EQ(Str(result), "rel/f");
    EXPECT_EQ(Str(Tevrol::File::PathHelper::CreateAbsolutePath("rel/f")), "rel/f");
  }
}

TEST_F(HelperFunctionsTest, LongOrBareExecutablePathsStillGiveTheirFolder) {
  detail::SetCmdNameForTesting(&FakeCmdName);
  const std::string folder = "/" + std::string(1400, 'd') + "/";
  g_fakePath = folder + "prog";
  char buffer[1024];
  EXPECT_EQ(PDEnvInformation::GetExecutablePath(buffer, sizeof(buffer)),
            static_cast<Tevrol::Long>(g_fakePath.size()));
  EXPECT_EQ(std::string(buffer, sizeof(buffer)), g_fakePath.substr(0, 1024));  // not terminated
  EXPECT_EQ(Str(HelperFunctions::GetExecutableFolder()), folder);
  g_fakePath = "prog";  // no '/': kept whole
  EXPECT_EQ(Str(HelperFunctions::GetExecutableFolder()), "prog");
}

TEST_F(HelperFunctionsTest, WorkingDirectoryOrTheReasonItCannotBeRead) {
  char here[1024];
  ASSERT_NE(getcwd(here, sizeof(here)), nullptr);
  EXPECT_EQ(Str(HelperFunctions::GetCurrentWorkingDirectory()), here);
  char gone[] = "/tmp/tevrol-cwd-XXXXXX";
  ASSERT_NE(mkdtemp(gone), nullptr);
  ASSERT_EQ(chdir(gone), 0);
  ASSERT_EQ(rmdir(gone), 0);
  const std::string text = Str(HelperFunctions::GetCurrentWorkingDirectory());
  ASSERT_EQ(chdir(here), 0);
  EXPECT_EQ(text, std::strerror(ENOENT));
}

}  // namespace
