#include "file/FileOperations.h"

#include <cerrno>
#include <functional>

#include "FileTestSupport.h"
#include "UnprivilegedChild.h"
#include "file/FileOperationsImpl.h"

using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperations;
using Tevrol::File::FileOperationsImpl;
using Tevrol::File::FileStatus;
using Tevrol::File::Path;
using F = Tevrol::File::FileOperations;

namespace {

// Code and text of a report in one value, so that a failure prints both.
std::string Report(ErrorCode const& error) {
  return std::to_string(error.code) + " " + Str(error.text);
}
std::string Report(ErrorCode::Code code, int number = -1) {
  return std::to_string(code) + " " +
         (number < 0 ? "" : "POSIX error " + std::to_string(number) + " from ");
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

// Relative paths (code 5) and equal source and destination (code 6) are
// refused before any system call, whether or not the entry exists; refusals
// carry an empty text, failures of the system call its errno.
TEST_F(FileOperationsTest, FailuresGetTheirCodeAndText) {
  Write("src", std::string(2000, 'x'));
  Write("other", "old");
  Write("b", "two");
  MakeDir("tree");
  MakeDir("a");
  Write("a/file", "x");
  ASSERT_EQ(symlink("loop", At("loop").c_str()), 0);
  Path const rel = P("tmp/x"), abs = PathAt("x"), other = PathAt("y"), src = PathAt("src");
  using E = ErrorCode;
  std::string const kNotAbs = Report(E::NotAbsolute), kSame = Report(E::SamePath),
                    kMissing = Report(E::NotFound), kExists = Report(E::AlreadyExists);
  struct Row {
    char const* what;
    std::function<bool(E&)> failed;
    std::string report;
  } const rows[] = {
      {"status", [&](E& e) { return F::GetFileStatus(rel, e) == 0; }, kNotAbs},
      {"size", [&](E& e) { return F::GetFileSize(rel, e) == 0; }, kNotAbs},
      {"copy source", [&](E& e) { return !F::CopyFileEntry(rel, abs, 1, e); }, kNotAbs},
      {"copy dest", [&](E& e) { return !F::CopyFileEntry(abs, rel, 1, e); }, kNotAbs},
      {"rename source", [&](E& e) { return !F::Rename(rel, abs, 1, e); }, kNotAbs},
      {"remove", [&](E& e) { return !F::Remove(rel, e); }, kNotAbs},
      {"remove all", [&](E& e) { return F::RemoveAll(rel, e) == 0; }, kNotAbs},
      {"create", [&](E& e) { return !F::CreateDir(rel, e); }, kNotAbs},
      {"copy same", [&](E& e) { return !F::CopyFileEntry(abs, abs, 1, e); }, kSame},
      {"rename same", [&](E& e) { return !F::Rename(abs, abs, 1, e); }, kSame},
      {"copy missing", [&](E& e) { return !F::CopyFileEntry(abs, other, 1, e); }, kMissing},
      {"rename missing", [&](E& e) { return !F::Rename(abs, other, 1, e); }, kMissing},
      {"size missing", [&](E& e) { return F::GetFileSize(abs, e) == 0; }, kMissing},
      {"copy onto a file", [&](E& e) { return !F::CopyFileEntry(src, PathAt("other"), false, e); },
       Report(E::AlreadyExists, EEXIST)},
      {"copy a folder onto one",
       [&](E& e) { return !F::CopyFileEntry(PathAt("tree"), PathAt("a"), false, e); }, kExists},
      // Our choice: refused like the copy, with an empty text.
      {"rename onto a file", [&](E& e) { return !F::Rename(src, PathAt("b"), false, e); }, kExists},
      {"disk full", [&](E& e) { return !F::CopyFileEntry(src, P("/dev/full"), 1, e); },
       Report(E::InvalidRequest, ENOSPC)},
      {"link loop", [&](E& e) { return !F::CopyFileEntry(src, PathAt("loop/x"), 1, e); },
       Report(E::TooManyLinks, ELOOP)},
      {"size through a loop",
       [&](E& e) { return FileOperationsImpl::GetFileSize(filetest::T(At("loop")), e) == 0; },
       Report(E::TooManyLinks, ELOOP)},
      {"rename folder onto its own child",
       [&](E& e) { return !F::Rename(PathAt("a"), PathAt("a/q"), false, e); },
       Report(E::InvalidRequest, EINVAL)},
      {"a file in the way", [&](E& e) { return !F::CreateDir(PathAt("a/file/y/z"), e); },
       Report(E::NotFound, ENOTDIR)},
      // A name too long after a level was made, which stays.
      {"name too long",
       [&](E& e) { return !F::CreateDir(PathAt("a/x/" + std::string(300, 'n') + "/z"), e); },
       Report(E::InvalidRequest, ENAMETOOLONG)},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.what);
    ErrorCode error(ErrorCode::OtherError, TxString("stale"));
    EXPECT_TRUE(row.failed(error));
    EXPECT_EQ(Report(error), row.report);
  }
  EXPECT_EQ(Read("other"), "old");
  EXPECT_EQ(Read("b"), "two");
  EXPECT_TRUE(Exists("a/x"));
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
                    {At("link"), FileStatus::StatusDirectory},
                    {At("none"), FileStatus::StatusNotFound},
                    {"/dev/null", FileStatus::StatusUnknown}};
  for (auto const& row : rows) {
    ErrorCode error(ErrorCode::OtherError, TxString("preset"));
    EXPECT_EQ(FileOperations::GetFileStatus(P(row.path), error), row.status) << row.path;
    EXPECT_EQ(Report(error), std::to_string(ErrorCode::OtherError) + " preset") << row.path;
  }
  std::uint64_t const size = 5ULL << 30;
  ASSERT_EQ(truncate(At("f").c_str(), static_cast<off_t>(size)), 0);
  ErrorCode error;
  EXPECT_EQ(FileOperations::GetFileSize(PathAt("f"), error), size);
  EXPECT_EQ(Report(error), Report(ErrorCode::Success));
  EXPECT_GT(FileOperations::GetFileSize(PathAt("d"), error), 0U);
}

// Names are bytes: UTF-8, blanks and expression characters reach the file
// system unchanged.
TEST_F(FileOperationsTest, CopyAndRenameTakeContentModeAndAnyName) {
  std::string content;
  for (int i = 0; i < 5000; ++i) content += std::to_string(i) + ",";  // many 512-byte rounds
  Write("src", content);
  ASSERT_EQ(chmod(At("src").c_str(), 0640), 0);
  ErrorCode error;
  EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("src"), PathAt("dst"), false, error));
  EXPECT_EQ(Report(error), Report(ErrorCode::Success));
  EXPECT_EQ(Read("dst"), content);
  EXPECT_EQ(Mode(At("dst")), 0640U);
  Write("other", "old");
  EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("src"), PathAt("other"), true, error));
  EXPECT_EQ(Read("other"), content);

  // A folder is copied as one empty folder of mode 0700.
  MakeDir("tree");
  Write("tree/inner", "x");
  EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("tree"), PathAt("tree2"), false, error));
  EXPECT_EQ(Mode(At("tree2")), 0700U);
  EXPECT_FALSE(Exists("tree2/inner"));

  // Overwriting on request; a folder in the way goes with all it holds.
  EXPECT_TRUE(FileOperations::Rename(PathAt("dst"), PathAt("other"), true, error));
  EXPECT_EQ(Report(error), Report(ErrorCode::Success));
  EXPECT_FALSE(Exists("dst"));
  EXPECT_TRUE(FileOperations::Rename(PathAt("other"), PathAt("tree"), true, error));
  EXPECT_EQ(Read("tree"), content);

  for (std::string const name : {"\xc3\xa4\xe2\x82\xac \xf0\x9f\x98\x80", "a b", "[a-c]+(^$)"}) {
    SCOPED_TRACE(name);
    Write("src", name);
    EXPECT_TRUE(FileOperations::CreateDir(PathAt(name + "-dir"), error));
    EXPECT_TRUE(FileOperations::CopyFileEntry(PathAt("src"), PathAt(name), false, error));
    EXPECT_TRUE(FileOperations::Rename(PathAt(name), PathAt(name + "-dir/" + name), false, error));
    EXPECT_EQ(Read(name + "-dir/" + name), name);
    EXPECT_EQ(FileOperations::GetFileSize(PathAt(name + "-dir/" + name), error), name.size());
    EXPECT_TRUE(FileOperations::Remove(PathAt(name + "-dir"), error));
    EXPECT_FALSE(Exists(name + "-dir"));
  }
}

// What already exists is no failure: code 2 with the function's name.
TEST_F(FileOperationsTest, CreateDirMakesTheChain) {
  ErrorCode error;
  EXPECT_TRUE(FileOperations::CreateDir(PathAt("a/b/c"), error));
  EXPECT_EQ(Report(error), Report(ErrorCode::Success));
  EXPECT_EQ(Mode(At("a/b/c")), 0700U);
  for (std::string path : {At("a/b/c"), std::string("/")}) {
    EXPECT_TRUE(FileOperations::CreateDir(P(path), error)) << path;
    EXPECT_EQ(Report(error),
              std::to_string(ErrorCode::AlreadyExists) + " FileOperations::CreateDir");
  }
}

// Nothing outside the tree is touched: a link to a folder elsewhere goes as a
// link, and names that do not survive as a Path (the folder itself, or a
// place outside) are left where they are, without endless recursion. Paths
// that end in "." or ".." are never removed.
TEST_F(FileOperationsTest, RemoveTakesTreesButNothingOutsideThem) {
  MakeDir("outside");
  Write("outside/keep", "x");
  Write("victim", "x");
  MakeDir("tree");
  MakeDir("tree/sub");
  Write("tree/sub/f", "x");
  ASSERT_EQ(symlink(At("outside").c_str(), At("tree/link").c_str()), 0);
  ASSERT_EQ(symlink(At("outside").c_str(), At("tree/sub/link").c_str()), 0);
  std::string const odd[] = {" ", ":", "::", "\\", "a:b", "..\\victim", "x\\..\\..\\victim"};
  for (std::string const& name : odd) Write("tree/" + name, "x");
  Write("tree/plain", "x");

  ErrorCode error(ErrorCode::OtherError, TxString("preset"));
  EXPECT_FALSE(FileOperations::Remove(PathAt("tree/sub/.."), error));
  EXPECT_FALSE(FileOperations::Remove(PathAt("tree/."), error));
  EXPECT_EQ(Str(error.text), "preset");
  EXPECT_TRUE(Exists("tree/sub/f"));

  EXPECT_EQ(FileOperations::RemoveAll(PathAt("tree"), error),
            3);  // link, sub, plain
  EXPECT_TRUE(Exists("outside/keep"));
  EXPECT_TRUE(Exists("victim"));
  EXPECT_FALSE(Exists("tree/link"));
  EXPECT_FALSE(Exists("tree/sub"));
  for (std::string const& name : odd) EXPECT_TRUE(Exists("tree/" + name)) << name;
  EXPECT_EQ(FileOperations::RemoveAll(PathAt("tree/*"), error),
            0);  // "." and ".." not counted

  ASSERT_EQ(symlink(At("outside").c_str(), At("link2").c_str()), 0);
  EXPECT_TRUE(FileOperations::Remove(PathAt("link2"), error));
  EXPECT_FALSE(Exists("link2"));
  MakeDir("d");
  Write("d/h", "x");
  EXPECT_TRUE(FileOperations::Remove(PathAt("d"), error));
  EXPECT_EQ(Report(error), Report(ErrorCode::Success));
  EXPECT_FALSE(Exists("d"));
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
    ErrorCode e;
    std::string const denied = Report(ErrorCode::AccessDenied, EACCES);
    // What cannot go keeps its folder: the caller gets ENOTEMPTY.
    bool const wrong[] = {
        F::CreateDir(PathAt("new"), e) || Report(e) != denied,
        F::CopyFileEntry(PathAt("secret"), PathAt("mine/c"), false, e) || Report(e) != denied,
        F::Rename(PathAt("secret"), PathAt("mine/r"), false, e) || Report(e) != denied,
        F::Remove(PathAt("mine/box"), e) || Report(e) != Report(ErrorCode::InUse, ENOTEMPTY),
        F::Remove(PathAt("mine/box/roots/f"), e) || Report(e) != denied,
    };
    int failed = 0;
    for (int bit = 0; bit < 5; ++bit) failed |= wrong[bit] ? 1 << bit : 0;
    return failed;
  });
  EXPECT_EQ(result, 0) << "bit n: call n of the list gave the wrong answer";
  EXPECT_FALSE(Exists("mine/box/own"));  // what the user could remove went
  EXPECT_TRUE(Exists("mine/box/roots/f"));
}

}  // namespace
