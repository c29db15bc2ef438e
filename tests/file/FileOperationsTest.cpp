#include "file/FileOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "FileTestSupport.h"
#include "UnprivilegedChild.h"
#include "file/FileOperationsImpl.h"

using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperations;
using Tevrol::File::FileStatus;
using Tevrol::File::Path;

namespace {

class FileOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/fileops-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    m_dir = name;
  }
  void TearDown() override { std::filesystem::remove_all(m_dir); }

  std::string At(std::string const& leaf) const { return m_dir + "/" + leaf; }
  Path PathAt(std::string const& leaf) const { return P(At(leaf)); }
  void Write(std::string const& leaf, std::string const& content) const {
    std::ofstream(At(leaf), std::ios::binary) << content;
  }
  std::string Read(std::string const& leaf) const {
    std::ifstream in(At(leaf), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  bool Exists(std::string const& leaf) const {
    return std::filesystem::exists(std::filesystem::symlink_status(At(leaf)));
  }

  std::string m_dir;
};

TEST_F(FileOperationsTest, RenameMovesAndOverwritesOnlyWhenAsked) {
  Write("a", "one");
  Write("b", "two");
  ErrorCode error;
  EXPECT_FALSE(FileOperations::Rename(PathAt("a"), PathAt("b"), false, error));
  EXPECT_EQ(error.code, ErrorCode::AlreadyExists);
  EXPECT_EQ(Read("b"), "two");
  EXPECT_TRUE(FileOperations::Rename(PathAt("a"), PathAt("b"), true, error));
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_EQ(Read("b"), "one");
  EXPECT_FALSE(Exists("a"));
}

}  // namespace
