#include "file/HelperFunctions.h"

#include <sys/resource.h>
#include <algorithm>

#include <cstdlib>
#include <cstring>

#include "FileTestSupport.h"
#include "file/PDEnvInformation.h"
#include "file/PDEnvInformationForTesting.h"

namespace {

std::string g_answer;  // what the fake _cmdname answers
char* FakeCmdName(char* buffer, std::size_t size) {
  return !g_answer.empty() && g_answer.size() < size ? std::strcpy(buffer, g_answer.c_str())
                                                     : nullptr;
}

// Restores the two variables and the OS calls that a test replaces.
struct HelperFunctionsTest : ::testing::Test {
  ~HelperFunctionsTest() override {
    HelperFunctions::ESCAPE = "\\";
    HelperFunctions::SEPARATOR = "/";
    detail::SetCmdNameForTesting(nullptr);
    detail::SetAllocateForTesting(nullptr);
  }
};

// Rows "escape|separator|text|folder|file"; "-" stands for a null variable.
TEST_F(HelperFunctionsTest, CutFileNameSplitsBehindTheLastUnescapedSeparator) {
  for (char const* row :
       {"\\|/|dir/file|dir/|file", "\\|/|a/b/c|a/b/|c", "\\|/|a/|a/|", "\\|/|/file||/file",
        "\\|/|file||file", "\\|/|||", "\\|/|a\\/b||a\\/b", "\\|/|a/b\\/c|a/|b\\/c",
        "\\|/|a\\\\/b|a\\\\/|b", "%%|::|a::b%%::c::d|a::b%%::c::|d", "|/|x\\/y|x\\/|y",
        "-|/|x\\/y|x\\/|y", "\\||x/y||x/y"}) {
    SCOPED_TRACE(row);
    const std::vector<std::string> f = Fields(row);
    HelperFunctions::ESCAPE = f[0] == "-" ? nullptr : f[0].c_str();
    HelperFunctions::SEPARATOR = f[1].c_str();
    TxString folder("stale"), file("stale"), same(f[2].c_str());
    HelperFunctions::CutFileName(same, folder, file);
    EXPECT_EQ(Str(folder) + "|" + Str(file), f[3] + "|" + f[4]);
    HelperFunctions::CutFileName(same, same, file);  // the text may also receive a part
    EXPECT_EQ(Str(same), f[3]);
  }
}

// What _cmdname answers (empty: nothing), whether malloc fails first, the
// folder that follows, and what CreateAbsolutePath makes of "rel", "C:/x"
// (relative here) and "/x". An unreadable path gives no folder, so relative
// paths stay relative; one of 1024 bytes or more is copied unterminated but
// still gives its folder; one without '/' is kept whole.
TEST_F(HelperFunctionsTest, ExecutableFolderForEveryKindOfExecutablePath) {
  const std::string folder = Str(HelperFunctions::GetExecutableFolder());
  EXPECT_EQ(access((folder + "file_tests").c_str(), X_OK), 0) << folder;
  const std::string name = Str(HelperFunctions::GetExecutableNameWithFolder());
  EXPECT_EQ(name.substr(name.rfind('/') + 1), "file_tests");

  const detail::AllocateForTesting failingMalloc = [](std::size_t) -> void* { return nullptr; };
  detail::SetCmdNameForTesting(&FakeCmdName);
  const std::string d = "/" + std::string(1400, 'd') + "/";
  const struct {
    std::string answer;
    bool mallocFails;
    std::string folder, absolute;
  } rows[] = {{"/opt/app/prog", false, "/opt/app/", "/opt/app/rel|/opt/app/C:/x|/x"},
              {"", false, "", "rel|C:/x|/x"},
              {"/never/read", true, "", "rel|C:/x|/x"},
              {"prog", false, "prog", "prog/rel|prog/C:/x|/x"},
              {d + "prog", false, d, d + "rel|" + d + "C:/x|/x"}};
  for (auto const& row : rows) {
    SCOPED_TRACE(row.answer.size());
    g_answer = row.answer;
    detail::SetAllocateForTesting(row.mallocFails ? failingMalloc : nullptr);
    const bool read = !row.folder.empty();
    char buffer[1024] = "untouched";
    EXPECT_EQ(PDEnvInformation::GetExecutablePath(buffer, sizeof(buffer)),
              read ? Tevrol::Long(row.answer.size()) : -1);
    EXPECT_EQ(std::string(buffer, read ? std::min<std::size_t>(row.answer.size(), 1024) : 9),
              read ? row.answer.substr(0, 1024) : "untouched");
    EXPECT_EQ(Str(HelperFunctions::GetExecutableFolder()), row.folder);
    std::string absolute;
    for (char const* path : {"rel", "C:/x", "/x"}) {
      TxString result;
      EXPECT_TRUE(HelperFunctions::CreateAbsolutePath(TxString(path), result));
      absolute += (absolute.empty() ? "" : "|") + Str(result);
    }
    EXPECT_EQ(absolute, row.absolute);
  }
}

// The argument vector is read once, at the first call that can read it: a
// first call with every descriptor in use gives the empty text, and the next
// call reads it after all. Run in a fresh process, where no call came first.
TEST_F(HelperFunctionsTest, ExecutableNameIsReadAgainAfterAFailedFirstRead) {
  if (std::getenv("TEVROL_ARGV_CHILD") == nullptr) {
    // Under qemu no program can exec another ARM program: the child runs through the emulator.
    std::string const child = "TEVROL_ARGV_CHILD=1 $TEST_EMULATOR " +
                              std::filesystem::read_symlink("/proc/self/exe").string() +
                              " --gtest_filter=HelperFunctionsTest."
                              "ExecutableNameIsReadAgainAfterAFailedFirstRead >/dev/null 2>&1";
    EXPECT_EQ(std::system(child.c_str()), 0);
    return;
  }
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  rlimit const low{64, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  std::vector<int> taken;
  for (int fd = dup(0); fd >= 0; fd = dup(0)) taken.push_back(fd);
  std::string const first = Str(HelperFunctions::GetExecutableNameWithFolder());
  for (int fd : taken) close(fd);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(first, "");
  std::string const name = Str(HelperFunctions::GetExecutableNameWithFolder());
  EXPECT_EQ(name.substr(name.rfind('/') + 1), "file_tests");
}

// The working directory, or, once it is gone, the error's text in its place.
TEST_F(HelperFunctionsTest, WorkingDirectoryOrTheTextOfTheFailure) {
  std::string const before = std::filesystem::current_path().string();
  EXPECT_EQ(Str(HelperFunctions::GetCurrentWorkingDirectory()), before);
  char gone[] = "/tmp/tevrol-cwd-XXXXXX";
  ASSERT_NE(mkdtemp(gone), nullptr);
  ASSERT_EQ(chdir(gone), 0);
  ASSERT_EQ(rmdir(gone), 0);
  std::string const text = Str(HelperFunctions::GetCurrentWorkingDirectory());
  ASSERT_EQ(chdir(before.c_str()), 0);
  EXPECT_EQ(text, std::strerror(ENOENT));
}

}  // namespace
