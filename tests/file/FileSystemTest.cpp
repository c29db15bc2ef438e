#include "file/FileSystem.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <climits>
#include <map>

#include "FileTestSupport.h"
#include "UnprivilegedChild.h"
#include "file/DirEntryArray.h"
#include "file/File.h"
#include "file/HelperFunctions.h"
#include "file/PDEnvInformation.h"
#include "timetext/TimeDate.h"

namespace {

using namespace filetest;

int CountIn(std::string const& folder) {
  int count = 0;
  for (auto const& entry : std::filesystem::directory_iterator(folder)) count += (void(entry), 1);
  return count;
}

// What one listing gave: name -> "type:size" ("type" alone for directories).
using Listing = std::map<std::string, std::string>;

// Calls GetNextEntry (entries in the folder, "." and ".." included) + 1
// times in all, so that a name that cannot be examined (null) does not end
// the walk, and collects what came.
Listing List(FileSystem& fs, TxString const* pattern, std::string const& folder) {
  int const entries = CountIn(folder) + 2;
  Listing found;
  DirEntry* entry = fs.GetFirstEntry(pattern);
  for (int call = 0; call <= entries; ++call) {
    if (entry != nullptr) {
      std::string const name = Str(entry->m_name);
      std::string value = std::to_string(entry->m_type);
      if (entry->m_type == DirEntry::kFileEntry) {
        EXPECT_NE(dynamic_cast<File*>(entry), nullptr) << name;
        value += ":" + std::to_string(entry->m_size);
      }
      EXPECT_EQ(found.count(name), 0u) << "twice: " << name;
      found[name] = value;
      FileSystem::ReleaseEntry(entry);
    }
    if (call < entries) entry = fs.GetNextEntry();
  }
  EXPECT_EQ(fs.GetNextEntry(), nullptr);  // the end stays the end
  fs.EndFind();
  return found;
}

struct FileSystemTest : TempDirTest {
  void SetUp() override {
    TempDirTest::SetUp();
    char cwd[PATH_MAX];
    m_cwd = getcwd(cwd, sizeof cwd) != nullptr ? cwd : "/";
    m_umask = umask(0);  // modes are checked as they are asked for
  }
  void TearDown() override {
    umask(m_umask);
    EXPECT_EQ(chdir(m_cwd.c_str()), 0);
    TempDirTest::TearDown();
  }
  std::string m_cwd;
  mode_t m_umask = 0;
};

TEST_F(FileSystemTest, CurrentDirectoryChangeDirAndParent) {
  ASSERT_EQ(chdir(m_dir.c_str()), 0);
  Write(At("here"), "x");
  FileSystem fs;
  std::string const exeFolder = Str(HelperFunctions::GetExecutableFolder());
  ASSERT_EQ(exeFolder.back(), '/');
  EXPECT_EQ(Str(fs.GetCurrentDir()), exeFolder);
  EXPECT_EQ(Str(fs.ToAbsolutePath(T("a/../b"))), exeFolder + "a/../b");
  EXPECT_EQ(Str(fs.ToAbsolutePath(T("/x"))), "/x");
  // Only a leading "/" makes a path absolute here: no drive, no URI.
  EXPECT_TRUE(FileSystem::IsAbsolutePath(T("/")));
  EXPECT_FALSE(FileSystem::IsAbsolutePath(T("")) || FileSystem::IsAbsolutePath(T("C:/x")) ||
               FileSystem::IsAbsolutePath(T("file:///x")));
  EXPECT_FALSE(fs.ExistsEntry("here"));
  EXPECT_FALSE(FileSystem::FileExists("here"));  // relative to the executable, always
  EXPECT_TRUE(FileSystem::FileExists(""));       // the executable's folder itself
  EXPECT_TRUE(FileSystem::FileExists("file_tests"));
  EXPECT_TRUE(FileSystem::DirectoryExists("/"));  // becomes "": the executable's folder

  // "" hands the object over to the working directory, without a "/" at the
  // end; names still join with one.
  EXPECT_TRUE(fs.ChangeDir(T("")));
  EXPECT_EQ(Str(fs.GetCurrentDir()), m_dir);
  EXPECT_EQ(Str(fs.ToAbsolutePath(T("x"))), m_dir + "/x");
  EXPECT_TRUE(fs.ExistsEntry("here"));
  EXPECT_EQ(List(fs, nullptr, m_dir), (Listing{{".", "1"}, {"..", "1"}, {"here", "0:1"}}));
  FileSystem fresh;
  EXPECT_TRUE(fresh.ChangeDir(T("")));
  EXPECT_TRUE(fresh.CopyEntry(T("here"), T("copy")));
  EXPECT_EQ(Read(At("copy")), "x");

  // A folder in a pattern is kept as it stands, relative to the process.
  ASSERT_EQ(mkdir(At("sub").c_str(), 0700), 0);
  Write(At("sub/a.txt"), "abc");
  FileSystem other;
  TxString const pattern("sub/*.TXT");
  EXPECT_EQ(List(other, &pattern, At("sub")), (Listing{{"a.txt", "0:3"}}));
  EXPECT_EQ(Str(other.GetCurrentDir()), "sub/");
  TxString const noLeaf("sub2/");
  EXPECT_EQ(other.GetFirstEntry(&noLeaf), nullptr);
  EXPECT_EQ(Str(other.GetCurrentDir()), "sub2/");

  EXPECT_FALSE(other.ChangeDir(T(At("missing"))));
  EXPECT_FALSE(other.ChangeDir(T("no such folder here")));
  EXPECT_EQ(Str(other.GetCurrentDir()), "sub2/");
  EXPECT_TRUE(other.ChangeDir(T(m_dir)));
  EXPECT_TRUE(other.ChangeDir(T("sub")));  // relative to the current directory
  EXPECT_EQ(Str(other.GetCurrentDir()), m_dir + "/sub/");
  EXPECT_TRUE(other.ChangeDir(T("..//sub/")));  // tested normalised, kept as given
  EXPECT_EQ(Str(other.GetCurrentDir()), m_dir + "/sub/..//sub/");

  // Rows "current directory|result|after"; GetFirstEntry on "<dir>x" puts a
  // text there without looking at the file system.
  for (char const* row :
       {"/a/b/|1|/a/", "/a/|1|/", "a/b/|1|a/", "a/|0|a/", "//|1|/", "/ab/|1|/", "/|0|/"}) {
    std::vector<std::string> const f = Fields(row);
    TxString const pattern(T(f[0] + "x"));
    FileSystem::ReleaseEntry(other.GetFirstEntry(&pattern));
    ASSERT_EQ(Str(other.GetCurrentDir()), f[0]) << row;
    EXPECT_EQ(other.ChangeToParentDir(), f[1] == "1") << row;
    EXPECT_EQ(Str(other.GetCurrentDir()), f[2]) << row;
  }
}

TEST_F(FileSystemTest, ListingGivesFilesAndDirectoriesAndPassesOverOtherKinds) {
  Write(At("plain"), "12345");
  ASSERT_EQ(mkdir(At("dir").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(At("fifo").c_str(), 0600), 0);
  int const sock = BindSocket(At("sock"));
  ASSERT_GE(sock, 0);
  ASSERT_EQ(symlink(At("gone").c_str(), At("dangling").c_str()), 0);
  ASSERT_EQ(symlink(At("plain").c_str(), At("link").c_str()), 0);
  Write(At("\xC3\xA9t\xC3\xA9.txt"), "utf8");  // UTF-8 bytes
  Write(At("\xE9.TXT"), "latin1");             // a lone Latin-1 byte

  FileSystem fs;
  TxString const all(T(m_dir + "/*"));
  // The dangling link cannot be examined: a null in the walk, not an entry.
  Listing const expected = {{".", "1"},         {"..", "1"},     {"plain", "0:5"},
                            {"dir", "1"},       {"link", "0:5"}, {"\xC3\xA9t\xC3\xA9.txt", "0:4"},
                            {"\xE9.TXT", "0:6"}};
  EXPECT_EQ(List(fs, &all, m_dir), expected);
  EXPECT_EQ(Str(fs.GetCurrentDir()), m_dir + "/");
  close(sock);

  // Rows "pattern|names"; the current directory now is the folder.
  for (char const* row : {"*.txt|\xC3\xA9t\xC3\xA9.txt \xE9.TXT ", "?.txt|\xE9.TXT ",
                          "[pd]*|dir plain ", "P?A*|plain ", "*.|. .. ", "nothing*|", "[|"}) {
    TxString const pattern(T(Fields(row)[0]));
    std::string names;
    for (auto const& found : List(fs, &pattern, m_dir)) names += found.first + " ";
    EXPECT_EQ(names, Fields(row)[1]) << row;
  }

  // A search still open is ended by the next one, and by the destructor.
  int const before = CountIn("/proc/self/fd");
  {
    FileSystem open;
    FileSystem::ReleaseEntry(open.GetFirstEntry(&all));
    FileSystem::ReleaseEntry(open.GetFirstEntry(&all));
    EXPECT_EQ(CountIn("/proc/self/fd"), before + 1);
    TxString const bad("[");
    EXPECT_EQ(open.GetFirstEntry(&bad), nullptr);  // no filter: the search matches nothing
    EXPECT_EQ(open.GetNextEntry(), nullptr);
    open.EndFind();
    EXPECT_EQ(CountIn("/proc/self/fd"), before);
    FileSystem::ReleaseEntry(open.GetFirstEntry(&all));
  }
  EXPECT_EQ(CountIn("/proc/self/fd"), before);
  FileSystem idle;
  EXPECT_EQ(idle.GetNextEntry(), nullptr);
  FileSystem::ReleaseEntry(nullptr);
}

TEST_F(FileSystemTest, CopyAndMoveOntoExistingFiles) {
  std::string const data(1300, 'd');  // blocks of both copies and a rest
  Write(At("src"), data);
  Write(At("long"), std::string(4000, 'o'));
  Write(At("keep"), "keep");
  std::string const entry = "\xE9ntry";  // a Latin-1 byte in the name
  FileSystem fs;
  ASSERT_TRUE(fs.ChangeDir(T(m_dir)));
  auto mode = [this](std::string const& leaf) {
    return std::filesystem::status(At(leaf)).permissions();
  };
  int const descriptors = CountIn("/proc/self/fd");

  EXPECT_TRUE(FileSystem::CopyFile(T(At("src")), T(At("long"))));
  EXPECT_EQ(Read(At("long")), data);  // no old bytes behind the copy
  EXPECT_TRUE(FileSystem::CopyFile(T(At("src")), T(At("new"))));
  EXPECT_EQ(mode("new"), std::filesystem::perms(0660));
  EXPECT_TRUE(FileSystem::CopyFile(T(At("src")), T(At("src"))));
  EXPECT_EQ(Read(At("src")), data);
  EXPECT_FALSE(FileSystem::CopyFile(T(At("missing")), T(At("never"))));
  EXPECT_FALSE(FileSystem::CopyFile(T(At("src")), T(At("missing/never"))));  // no such folder
  EXPECT_FALSE(FileSystem::CopyFile(T(m_dir), T(At("fromdir"))));            // read fails

  EXPECT_FALSE(fs.CopyEntry(T("src"), T("keep")));
  EXPECT_EQ(Read(At("keep")), "keep");
  EXPECT_TRUE(fs.CopyEntry(T("src"), T(entry)));
  EXPECT_EQ(Read(At(entry)), data);
  EXPECT_EQ(mode(entry), std::filesystem::perms(0644));
  EXPECT_FALSE(fs.CopyEntry(T("missing"), T("never")));
  EXPECT_FALSE(Exists(At("never")));
  EXPECT_FALSE(fs.CopyEntry(T("."), T("fromdir2")));  // read fails

  EXPECT_TRUE(fs.MoveEntry(T(entry), T("keep"), true));
  EXPECT_EQ(Read(At("keep")), data);
  EXPECT_FALSE(Exists(At(entry)));
  Write(At("other"), "other");
  EXPECT_TRUE(fs.MoveEntry(T("other"), T("keep"), false));  // rename replaces it anyway
  EXPECT_EQ(Read(At("keep")), "other");
  EXPECT_FALSE(fs.MoveEntry(T("missing"), T("new"), false));
  EXPECT_EQ(Read(At("new")), data);

  EXPECT_TRUE(fs.DeleteFile(T("new")));
  EXPECT_FALSE(fs.DeleteFile(T("new")));
  ASSERT_EQ(mkdir(At("empty").c_str(), 0700), 0);
  EXPECT_TRUE(fs.DeleteFile(T("empty")));
  EXPECT_EQ(CountIn("/proc/self/fd"), descriptors);  // every copy closed both of its files
}

// A failing write or read is never a whole copy: /dev/full is only ever the
// write target here, and RLIMIT_FSIZE in a child stops writes after 1500 bytes.
TEST_F(FileSystemTest, FailingWritesAndPermissionFailures) {
  ASSERT_EQ(chmod(m_dir.c_str(), 0777), 0);
  Write(At("src"), std::string(3000, 's'));
  Write(At("empty"), "");
  EXPECT_FALSE(FileSystem::CopyFile(T(At("src")), T("/dev/full")));
  EXPECT_TRUE(FileSystem::CopyFile(T(At("empty")), T("/dev/full")));
  int const limited = RunUnprivileged([this] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit const limit{1500, 1500};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 90;
    FileSystem fs;
    return (fs.CopyEntry(T(At("src")), T(At("entry"))) ? 1 : 0) |
           (FileSystem::CopyFile(T(At("src")), T(At("file"))) ? 2 : 0);
  });
  EXPECT_EQ(limited, 0) << "1: CopyEntry, 2: CopyFile reported a whole copy";
  EXPECT_EQ(Read(At("entry")), std::string(1500, 's'));  // nothing lost nor invented
  EXPECT_EQ(Read(At("file")), std::string(1500, 's'));

  Write(At("secret"), "secret");
  ASSERT_EQ(chmod(At("secret").c_str(), 0600), 0);
  ASSERT_EQ(mkdir(At("closed").c_str(), 0700), 0);
  Write(At("closed/inside"), "x");
  ASSERT_EQ(mkdir(At("readonly").c_str(), 0755), 0);
  int const result = RunUnprivileged([this] {
    FileSystem fs;
    TxString const pattern(T(At("closed/*")));
    bool const wrong[] = {
        FileSystem::FileExists(T(At("secret"))),  // exists, but may not be read
        !FileSystem::DirectoryExists(T(At("secret"))),
        fs.CopyEntry(T(At("secret")), T(At("copy"))),
        FileSystem::CopyFile(T(At("secret")), T(At("copy2"))),
        fs.ChangeDir(T(At("closed"))),
        fs.CreateDir(T(At("readonly/new"))),
        fs.DeleteFile(T(At("closed/inside"))),
        fs.GetFirstEntry(&pattern) != nullptr,
    };
    int code = 0;
    for (int bit = 0; bit < 8; ++bit) code |= wrong[bit] ? 1 << bit : 0;
    return code;
  });
  EXPECT_EQ(result, 0) << "bit n: call n of the list gave the wrong answer";
  EXPECT_TRUE(Exists(At("closed/inside")));
  EXPECT_FALSE(Exists(At("readonly/new")));
}

// CreateDir refuses what exists and a path over 1023 bytes. Other texts of
// 254, 255, 256, 1023 and 1024 bytes: a 254-byte path to a file (or a folder)
// with "y" appended. Where 254 bytes are kept the operation works on the
// file; where all are kept it sees a missing name.
TEST_F(FileSystemTest, CreateDirAndLongPathsAreCutOrRefusedNeverOverrun) {
  std::string const file = m_dir + "/" + std::string(254 - m_dir.size() - 1, 'n');
  std::string const folder = m_dir + "/" + std::string(254 - m_dir.size() - 1, 'd');
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  FileSystem fs;
  ASSERT_TRUE(fs.ChangeDir(T(m_dir)));
  EXPECT_TRUE(fs.CreateDir(T("a/b/c")));
  EXPECT_TRUE(std::filesystem::is_directory(At("a/b/c")));
  EXPECT_EQ(std::filesystem::status(At("a/b")).permissions(), std::filesystem::perms(0700));
  EXPECT_FALSE(fs.CreateDir(T("a/b/c")));
  EXPECT_FALSE(fs.CreateDir(T("a")));
  EXPECT_TRUE(fs.CreateDir(T(At("x/y/"))));  // a trailing "/" names the same level
  EXPECT_TRUE(std::filesystem::is_directory(At("x/y")));
  EXPECT_TRUE(fs.CreateDir(T("\xC3\xA4/\xE4")));
  EXPECT_TRUE(std::filesystem::is_directory(At("\xC3\xA4/\xE4")));

  // The whole absolute path must fit 1023 bytes; levels of 200 bytes.
  std::string path = m_dir;
  while (path.size() + 201 + 20 <= 1023) path += "/" + std::string(200, 'c');
  path += "/" + std::string(1023 - path.size() - 1, 'e');
  ASSERT_EQ(path.size(), 1023u);
  EXPECT_TRUE(fs.CreateDir(T(path)));
  EXPECT_TRUE(std::filesystem::is_directory(path));
  std::string const longer =
      path.substr(0, path.rfind('/')) + "/" + std::string(path.size() - path.rfind('/'), 'f');
  ASSERT_EQ(longer.size(), 1024u);
  EXPECT_FALSE(fs.CreateDir(T(longer)));
  EXPECT_FALSE(Exists(longer));

  for (std::size_t length : {254u, 255u, 256u, 1023u, 1024u}) {
    SCOPED_TRACE(length);
    Write(file, "content");
    std::string const text = file + std::string(length - 254, 'y');
    std::string const tail = text.substr(m_dir.size() + 1);
    TimeDate time;
    EXPECT_EQ(FileSystem::GetFileTime(T(text), time), length == 254);
    EXPECT_EQ(FileSystem::CopyFile(T(text), T(At("copy"))), length == 254);
    std::remove(At("copy").c_str());
    EXPECT_TRUE(FileSystem::FileExists(T(text)));
    EXPECT_TRUE(FileSystem::DirectoryExists(T(text)));
    EXPECT_FALSE(FileSystem::DirectoryExists(T(tail + "/")));  // relative: not here
    EXPECT_TRUE(fs.ExistsEntry(tail.c_str()));
    EXPECT_TRUE(fs.CopyEntry(T(tail), T("copy")));
    EXPECT_EQ(Read(At("copy")), "content");
    EXPECT_FALSE(fs.CopyEntry(T("copy"), T(tail)));  // the cut destination exists
    EXPECT_TRUE(fs.MoveEntry(T(text), T("moved"), false));
    EXPECT_TRUE(fs.MoveEntry(T("moved"), T(tail), true));
    EXPECT_EQ(Read(file), "content");
    EXPECT_TRUE(fs.DeleteFile(T(tail)));
    EXPECT_FALSE(Exists(file));
    std::remove(At("copy").c_str());

    // The folder test of ChangeDir is cut; the directory keeps the whole text.
    std::string const dirText = folder + std::string(length - 254, 'y');
    FileSystem browser;
    EXPECT_TRUE(browser.ChangeDir(T(dirText)));
    EXPECT_EQ(Str(browser.GetCurrentDir()), dirText + "/");
    // Listing the cut folder: every joined name exceeds 255 bytes.
    TxString const pattern(T(dirText + "/*"));
    EXPECT_EQ(List(browser, &pattern, folder), Listing{});
  }

  // The joined directory and name of a listing must fit 255 bytes.
  std::string const sub = m_dir + "/s/";
  ASSERT_EQ(mkdir(sub.c_str(), 0700), 0);
  std::string const fits = std::string(255 - sub.size(), 'f');
  Write(sub + fits, "1");
  Write(sub + fits + "x", "2");
  TxString const pattern(T(sub + "f*"));
  EXPECT_EQ(List(fs, &pattern, sub), (Listing{{fits, "0:1"}}));
}

TEST_F(FileSystemTest, FileTimeFindEntryAndStatics) {
  Write(At("timed"), "t");
  timespec const times[2] = {{1234567890, 0}, {1234567890, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, At("timed").c_str(), times, 0), 0);
  TimeDate time;
  EXPECT_TRUE(FileSystem::GetFileTime(T(At("timed")), time));
  EXPECT_EQ(time.GetCalendarTime(), 1234567890u);
  EXPECT_FALSE(FileSystem::GetFileTime(T(At("missing")), time));
  EXPECT_EQ(time.GetCalendarTime(), 0u);

  // Rows "pattern|name found|type:size" (size only for a file; "" none).
  ASSERT_EQ(mkdir(At("sub").c_str(), 0700), 0);
  for (char const* row : {"ti*|timed|0:1", "sub|sub|1", "x*||", "plainmissing||"}) {
    std::vector<std::string> const f = Fields(row);
    DirEntry* const entry = FileSystem::FindEntry(T(At(f[0])));
    std::string got;
    if (entry != nullptr) {
      EXPECT_EQ(Str(entry->m_name), At(f[1])) << row;
      got = std::to_string(entry->m_type);
      if (entry->m_type == DirEntry::kFileEntry) got += ":" + std::to_string(entry->m_size);
    }
    EXPECT_EQ(got, f[2]) << row;
    FileSystem::ReleaseEntry(entry);
  }

  EXPECT_TRUE(FileSystem::DirectoryExists(T(At("timed"))));  // any kind counts
  EXPECT_TRUE(FileSystem::DirectoryExists(T(At("sub/"))));
  EXPECT_FALSE(FileSystem::DirectoryExists(T(At("missing"))));
  EXPECT_TRUE(FileSystem::FileExists(T(At("sub"))));
  EXPECT_TRUE(FileSystem::FileExists(T(m_dir + "\\\\timed")));  // slashes normalised
  ASSERT_EQ(mkfifo(At("fifo").c_str(), 0600), 0);
  EXPECT_TRUE(FileSystem::FileExists(T(At("fifo"))));  // without waiting for a writer

  DirEntryArray drives;
  DirEntry one;
  drives.Add(one);
  drives.Add(one);
  FileSystem fs;
  fs.GetPersistentStorageDrives(drives);
  EXPECT_EQ(drives.GetSize(), 2);
  FileSystem::GetDrives(drives);
  EXPECT_EQ(drives.GetSize(), 0);
  drives.Add(one);
  FileSystem::GetRemovableDrives(drives);
  ASSERT_EQ(drives.GetSize(), 1);
  char exe[256] = {};
  ASSERT_GT(PDEnvInformation::GetExecutablePath(exe, 255), 0);
  EXPECT_EQ(Str(drives[0].m_name), exe);
}

}  // namespace
