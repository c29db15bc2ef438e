#include "file/FileOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include "FileTestSupport.h"
#include "UnprivilegedChild.h"
#include "file/FileOperationsImpl.h"

using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperations;
using Tevrol::File::FileOperationsImpl;
using Tevrol::File::FileStatus;
using Tevrol::File::Path;

namespace {

std::string PosixText(int number) {
  return "POSIX error " + std::to_string(number) + " from ";
}

// Paths here are leaves of the test's folder.
class FileOperationsTest : public filetest::TempDirTest {
 protected:
  Path PathAt(std::string const& leaf) const { return P(At(leaf)); }
  void Write(std::string const& leaf, std::string const& bytes) const {
    filetest::Write(At(leaf), bytes);
  }
  std::string Read(std::string const& leaf) const { return filetest::Read(At(leaf)); }
  bool Exists(std::string const& leaf) const { return filetest::Exists(At(leaf)); }
  void MakeDir(std::string const& leaf) const { ASSERT_EQ(mkdir(At(leaf).c_str(), 0755), 0); }
  static unsigned Mode(std::string const& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 01000000;
  }
};

// Refused before any system call: relative paths (code 5), and equal source
// and destination (code 6) whether or not the entry exists; always an empty text.
TEST_F(FileOperationsTest, RefusedRequestsGetTheirCodeAndAnEmptyText) {
  using F = FileOperations;
  using E = ErrorCode;
  Path const rel = P("tmp/x");
  Path const abs = PathAt("x");
  Path const other = PathAt("y");
  E::Code const kRelative = E::NotAbsolute, kSame = E::SamePath, kMissing = E::NotFound;
  struct Row {
    char const* what;
    std::function<bool(E&)> call;  // true: the call failed as it should
    E::Code code;
  } const rows[] = {
      {"status", [&](E& e) { return F::GetFileStatus(rel, e) == 0; }, kRelative},
      {"size", [&](E& e) { return F::GetFileSize(rel, e) == 0; }, kRelative},
      {"copy source", [&](E& e) { return !F::CopyFileEntry(rel, abs, 1, e); }, kRelative},
      {"copy dest", [&](E& e) { return !F::CopyFileEntry(abs, rel, 1, e); }, kRelative},
      {"rename source", [&](E& e) { return !F::Rename(rel, abs, 1, e); }, kRelative},
      {"rename dest", [&](E& e) { return !F::Rename(abs, rel, 1, e); }, kRelative},
      {"remove", [&](E& e) { return !F::Remove(rel, e); }, kRelative},
      {"remove all", [&](E& e) { return F::RemoveAll(rel, e) == 0; }, kRelative},
      {"create", [&](E& e) { return !F::CreateDir(rel, e); }, kRelative},
      {"copy same", [&](E& e) { return !F::CopyFileEntry(abs, abs, 1, e); }, kSame},
      {"rename same", [&](E& e) { return !F::Rename(abs, abs, 1, e); }, kSame},
      {"copy missing", [&](E& e) { return !F::CopyFileEntry(abs, other, 1, e); }, kMissing},
      {"rename missing", [&](E& e) { return !F::Rename(abs, other, 1, e); }, kMissing},
      {"size missing", [&](E& e) { return F::GetFileSize(abs, e) == 0; }, kMissing},
  };
  for (auto const& row : rows) {
    ErrorCode error(ErrorCode::OtherError, TxString("stale"));
    EXPECT_TRUE(row.call(error)) << row.what;
    EXPECT_EQ(error.code, row.code) << row.what;
    EXPECT_TRUE(error.text.IsEmpty()) << row.what;
  }
}

// Status follows links and leaves the record alone; a folder has a size, and
// sizes reach beyond 4 GiB.
TEST_F(FileOperationsTest, StatusAndSize) {
  Write("f", "x");
  MakeDir("d");
  ASSERT_EQ(symlink(At("d").c_str(), At("link").c_str()), 0);
  struct Row {
    std::string path;
    FileStatus::Value status;
  } const rows[] = {{At("f"), FileStatus::StatusFile},
                    {At("d"), FileStatus::StatusDirectory},
                    {At("link"), FileStatus::StatusDirectory},
                    {At("none"), FileStatus::StatusNotFound},
                    {"/dev/null", FileStatus::StatusUnknown}};
  for (auto const& row : rows) {
    ErrorCode error(ErrorCode::OtherError, TxString("preset"));
    EXPECT_EQ(FileOperations::GetFileStatus(P(row.path), error), row.status) << row.path;
    EXPECT_EQ(error.code, ErrorCode::OtherError) << row.path;
    EXPECT_EQ(Str(error.text), "preset") << row.path;
  }

  std::uint64_t const size = 5ULL << 30;
  ASSERT_EQ(truncate(At("f").c_str(), static_cast<off_t>(size)), 0);
  ErrorCode error;
  EXPECT_EQ(FileOperations::GetFileSize(PathAt("f"), error), size);
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_GT(FileOperations::GetFileSize(PathAt("d"), error), 0U);
}

TEST_F(FileOperationsTest, CopyTakesContentAndModeAndRefusesToOverwriteUnlessAsked) {
  std::string content;
  for (int i = 0; i < 5000; ++i) content += std::to_string(i) + ",";  // many 512-byte rounds
  Write("src", content);
  ASSERT_EQ(chmod(At("src").c_str(), 0640), 0);
  ErrorCode error;
  EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("src"), PathAt("dst"), false, error));
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_EQ(Read("dst"), content);
  EXPECT_EQ(Mode(At("dst")), 0640U);

  Write("other", "old");
  EXPECT_FALSE(FileOperations::CopyFileEntry(PathAt("src"), PathAt("other"), false, error));
  EXPECT_EQ(error.code, ErrorCode::AlreadyExists);
  EXPECT_EQ(Str(error.text), PosixText(EEXIST));
  EXPECT_EQ(Read("other"), "old");
  EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("src"), PathAt("other"), true, error));
  EXPECT_EQ(Read("other"), content);

  // A folder is copied as one empty folder of mode 0700.
  MakeDir("tree");
  Write("tree/inner", "x");
  EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("tree"), PathAt("tree2"), false, error));
  EXPECT_EQ(Mode(At("tree2")), 0700U);
  EXPECT_FALSE(Exists("tree2/inner"));
  EXPECT_FALSE(FileOperations::CopyFileEntry(PathAt("tree"), PathAt("tree2"), false, error));
  EXPECT_EQ(error.code, ErrorCode::AlreadyExists);
  EXPECT_TRUE(error.text.IsEmpty());
}

// Failures that come from the system carry its errno in the text.
TEST_F(FileOperationsTest, SystemFailuresAreTranslated) {
  Write("src", std::string(2000, 'x'));
  ASSERT_EQ(symlink("loop", At("loop").c_str()), 0);
  MakeDir("p");
  using F = FileOperations;
  struct Row {
    char const* what;
    std::function<bool(ErrorCode&)> call;
    ErrorCode::Code code;
    int number;
  } const rows[] = {
      {"disk full",
       [&](ErrorCode& e) { return F::CopyFileEntry(PathAt("src"), P("/dev/full"), 1, e); },
       ErrorCode::InvalidRequest, ENOSPC},
      {"link loop",
       [&](ErrorCode& e) { return F::CopyFileEntry(PathAt("src"), PathAt("loop/x"), 1, e); },
       ErrorCode::TooManyLinks, ELOOP},
      {"size through a loop",
       [&](ErrorCode& e) {
         return FileOperationsImpl::GetFileSize(filetest::T(At("loop")), e) != 0;
       },
       ErrorCode::TooManyLinks, ELOOP},
      {"rename folder onto its own child",
       [&](ErrorCode& e) { return F::Rename(PathAt("p"), PathAt("p/q"), false, e); },
       ErrorCode::InvalidRequest, EINVAL},
  };
  for (auto const& row : rows) {
    ErrorCode error;
    EXPECT_FALSE(row.call(error)) << row.what;
    EXPECT_EQ(error.code, row.code) << row.what;
    EXPECT_EQ(Str(error.text), PosixText(row.number)) << row.what;
  }
}

TEST_F(FileOperationsTest, CreateDirMakesTheChainAndStopsAtTheFirstRealFailure) {
  ErrorCode error;
  EXPECT_TRUE(FileOperations::CreateDir(PathAt("a/b/c"), error));
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_EQ(Mode(At("a/b/c")), 0700U);

  for (std::string path : {At("a/b/c"), std::string("/")}) {
    EXPECT_TRUE(FileOperations::CreateDir(P(path), error)) << path;
    EXPECT_EQ(error.code, ErrorCode::AlreadyExists) << path;
    EXPECT_EQ(Str(error.text), "FileOperations::CreateDir") << path;
  }

  // A file in the way; a name too long after a level was made, which stays.
  Write("a/file", "x");
  EXPECT_FALSE(FileOperations::CreateDir(PathAt("a/file/y/z"), error));
  EXPECT_EQ(error.code, ErrorCode::NotFound);
  EXPECT_EQ(Str(error.text), PosixText(ENOTDIR));
  EXPECT_FALSE(FileOperations::CreateDir(PathAt("a/x/" + std::string(300, 'n') + "/z"), error));
  EXPECT_EQ(error.code, ErrorCode::InvalidRequest);
  EXPECT_EQ(Str(error.text), PosixText(ENAMETOOLONG));
  EXPECT_TRUE(Exists("a/x"));
}

// Names are bytes: UTF-8, blanks and expression characters reach the file
// system unchanged.
TEST_F(FileOperationsTest, NamesRoundTripUnchanged) {
  for (std::string const name : {"\xc3\xa4\xe2\x82\xac \xf0\x9f\x98\x80", "a b", "[a-c]+(^$)"}) {
    ErrorCode error;
    Write("src", name);
    EXPECT_TRUE(FileOperations::CreateDir(PathAt(name + "-dir"), error)) << name;
    EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("src"), PathAt(name), false, error)) << name;
    EXPECT_TRUE(FileOperations::Rename(PathAt(name), PathAt(name + "-dir/" + name), false, error));
    EXPECT_EQ(Read(name + "-dir/" + name), name);
    EXPECT_EQ(FileOperations::GetFileSize(PathAt(name + "-dir/" + name), error), name.size());
    EXPECT_TRUE(FileOperations::Remove(PathAt(name + "-dir"), error)) << name;
    EXPECT_FALSE(Exists(name + "-dir")) << name;
  }
}

TEST_F(FileOperationsTest, RenameMovesAndOverwritesOnlyWhenAsked) {
  Write("a", "one");
  Write("b", "two");
  ErrorCode error;
  // Our choice: refused like the copy, with code 2 and an empty text.
  EXPECT_FALSE(FileOperations::Rename(PathAt("a"), PathAt("b"), false, error));
  EXPECT_EQ(error.code, ErrorCode::AlreadyExists);
  EXPECT_TRUE(error.text.IsEmpty());
  EXPECT_EQ(Read("b"), "two");
  EXPECT_TRUE(FileOperations::Rename(PathAt("a"), PathAt("b"), true, error));
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_EQ(Read("b"), "one");
  EXPECT_FALSE(Exists("a"));
  // A folder in the way goes with all it holds.
  MakeDir("d");
  MakeDir("d/e");
  Write("d/e/f", "x");
  EXPECT_TRUE(FileOperations::Rename(PathAt("b"), PathAt("d"), true, error));
  EXPECT_EQ(Read("d"), "one");
}

TEST_F(FileOperationsTest, RemoveTakesTreesButNeverDotPaths) {
  MakeDir("d");
  MakeDir("d/e");
  Write("d/e/f", "x");
  Write("d/g", "x");
  ErrorCode error(ErrorCode::OtherError, TxString("preset"));
  EXPECT_FALSE(FileOperations::Remove(PathAt("d/e/.."), error));
  EXPECT_FALSE(FileOperations::Remove(PathAt("d/."), error));
  EXPECT_EQ(Str(error.text), "preset");
  EXPECT_TRUE(Exists("d/e/f"));

  EXPECT_EQ(FileOperations::RemoveAll(PathAt("d/*"), error), 2);  // "." and ".." not counted
  EXPECT_TRUE(Exists("d"));
  EXPECT_FALSE(Exists("d/e"));
  EXPECT_EQ(FileOperations::RemoveAll(PathAt("d"), error), 0);
  Write("d/h", "x");
  EXPECT_TRUE(FileOperations::Remove(PathAt("d"), error));
  EXPECT_EQ(error.code, ErrorCode::Success);
  EXPECT_FALSE(Exists("d"));
}

// Nothing outside the tree is touched: a link to a folder elsewhere goes as a
// link, and names that do not survive as a Path (the folder itself, or a
// place outside) are left where they are, without endless recursion.
TEST_F(FileOperationsTest, RemoveAllStaysInsideTheTree) {
  MakeDir("outside");
  Write("outside/keep", "x");
  Write("victim", "x");
  MakeDir("tree");
  MakeDir("tree/sub");
  ASSERT_EQ(symlink(At("outside").c_str(), At("tree/link").c_str()), 0);
  ASSERT_EQ(symlink(At("outside").c_str(), At("tree/sub/link").c_str()), 0);
  std::string const odd[] = {" ", ":", "::", "\\", "a:b", "..\\victim", "x\\..\\..\\victim"};
  for (std::string const& name : odd) Write("tree/" + name, "x");
  Write("tree/plain", "x");

  ErrorCode error;
  EXPECT_EQ(FileOperations::RemoveAll(PathAt("tree"), error), 3);  // link, sub, plain
  EXPECT_TRUE(Exists("outside/keep"));
  EXPECT_TRUE(Exists("victim"));
  EXPECT_FALSE(Exists("tree/link"));
  EXPECT_FALSE(Exists("tree/plain"));
  for (std::string const& name : odd) EXPECT_TRUE(Exists("tree/" + name)) << name;

  ASSERT_EQ(symlink(At("outside").c_str(), At("link2").c_str()), 0);
  EXPECT_TRUE(FileOperations::Remove(PathAt("link2"), error));
  EXPECT_FALSE(Exists("link2"));
  EXPECT_TRUE(FileOperations::Rename(PathAt("victim"), PathAt("tree/sub"), true, error));
  EXPECT_TRUE(Exists("outside/keep"));
}

// Permission failures, seen from a child that dropped to an unprivileged user.
TEST_F(FileOperationsTest, PermissionFailuresReportAccessDeniedOrInUse) {
  ASSERT_EQ(chmod(m_dir.c_str(), 0755), 0);  // root's, readable by all
  Write("secret", "x");
  ASSERT_EQ(chmod(At("secret").c_str(), 0600), 0);
  for (char const* leaf : {"mine", "mine/box", "mine/box/roots"}) MakeDir(leaf);
  Write("mine/box/roots/f", "x");
  Write("mine/box/own", "x");
  for (char const* leaf : {"mine", "mine/box", "mine/box/own"}) {
    ASSERT_EQ(chown(At(leaf).c_str(), kUnprivilegedId, kUnprivilegedId), 0);
  }

  int const result = RunUnprivileged([&] {
    int failed = 0;
    auto check = [&](int bit, bool ok, ErrorCode const& e, ErrorCode::Code code, int number) {
      if (ok || e.code != code || Str(e.text) != PosixText(number)) failed |= bit;
    };
    ErrorCode e;
    check(1, FileOperations::CreateDir(PathAt("new"), e), e, ErrorCode::AccessDenied, EACCES);
    check(2, FileOperations::CopyFileEntry(PathAt("secret"), PathAt("mine/c"), false, e), e,
          ErrorCode::AccessDenied, EACCES);
    check(4, FileOperations::Rename(PathAt("secret"), PathAt("mine/r"), false, e), e,
          ErrorCode::AccessDenied, EACCES);
    // What cannot go keeps its folder: the caller gets ENOTEMPTY.
    check(8, FileOperations::Remove(PathAt("mine/box"), e), e, ErrorCode::InUse, ENOTEMPTY);
    return failed;
  });
  EXPECT_EQ(result, 0);
  EXPECT_FALSE(Exists("mine/box/own"));  // what the user could remove went
  EXPECT_TRUE(Exists("mine/box/roots/f"));
}

}  // namespace
