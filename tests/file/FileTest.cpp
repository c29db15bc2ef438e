#include "file/File.h"

#include <fcntl.h>

#include "file/DirEntryArray.h"
#include "file/FileTestSupport.h"
#include "file/UnprivilegedChild.h"

namespace {

using namespace filetest;
using Tevrol::ULong;

constexpr unsigned long long kGiB = 1024ull * 1024 * 1024;
constexpr unsigned long long kFailed = ~0ull;

class FileTest : public TempDirTest {
 protected:
  std::size_t Entries() const {
    auto const all = std::filesystem::directory_iterator(m_dir);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
};

// "code:count" of a write.
std::string WriteText(File& file, std::string const& text) {
  ULong written = 9;
  ULong const code = file.Write(reinterpret_cast<unsigned char const*>(text.data()),
                                static_cast<ULong>(text.size()), &written);
  return std::to_string(code) + ":" + std::to_string(written);
}

// "code:bytes" of a read.
std::string ReadText(File& file, ULong length) {
  std::string buffer(length, '\0');
  ULong got = 99;
  ULong const code = file.Read(reinterpret_cast<unsigned char*>(&buffer[0]), length, &got);
  buffer.resize(got);
  return std::to_string(code) + ":" + buffer;
}

// The position and the size, or kFailed where the call does not give 0.
unsigned long long PositionOf(File& file) {
  unsigned long long value = 0;
  return file.GetPosition(&value) == 0 ? value : kFailed;
}
unsigned long long SizeOf(File& file) {
  unsigned long long value = 0;
  return file.GetSize(&value) == 0 ? value : kFailed;
}

TEST_F(FileTest, ClosedUntilOpenThenReadWriteAndEnd) {
  File file(At("f").c_str(), O_RDWR, 0, O_CREAT, 0, false);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(Exists(At("f")));
  ASSERT_EQ(file.Open(), 0u);
  EXPECT_EQ(file.Open(), 5u);  // the first descriptor stays in use
  EXPECT_EQ(WriteText(file, "hello"), "0:5");
  ASSERT_EQ(file.SetPosition(0, File::Begin), 0u);
  EXPECT_EQ(ReadText(file, 10), "0:hello");
  EXPECT_EQ(ReadText(file, 10), "7:");
  EXPECT_EQ(SizeOf(file), 5u);
  // Each time from its own field: access and modification set apart, the
  // change time is the moment of that setting.
  struct timespec const times[2] = {{1000000, 0}, {2000000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, At("f").c_str(), times, 0), 0);
  Tevrol::Long access = -1, modification = -1, change = -1;
  EXPECT_TRUE(file.GetLastAccessTime(access) && file.GetLastModificationTime(modification) &&
              file.GetLastChangeTime(change));
  EXPECT_EQ(access, 1000000);
  EXPECT_EQ(modification, 2000000);
  EXPECT_GT(change, 2000000);
  EXPECT_EQ(file.GetInputStream(), static_cast<InputStream*>(&file));
  EXPECT_EQ(file.GetOutputStream(), static_cast<OutputStream*>(&file));
  EXPECT_STREQ(file.GetFriendlyName(), "unknown");

  // Sparse beyond 4 GiB, then cut at the position.
  ASSERT_EQ(file.SetPosition(5 * kGiB, File::Begin), 0u);
  ASSERT_EQ(WriteText(file, "x"), "0:1");
  EXPECT_EQ(PositionOf(file), 5 * kGiB + 1);
  EXPECT_EQ(SizeOf(file), 5 * kGiB + 1);
  for (unsigned long long const end : {3 * kGiB, 0ull}) {
    ASSERT_EQ(file.SetPosition(end, File::Begin), 0u);
    EXPECT_EQ(file.SetEndOfFile(), 0u);
    EXPECT_EQ(SizeOf(file), end);
  }

  // Closed: every call reaches the system with -1 and fails there.
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(ReadText(file, 4), "4:");
  EXPECT_EQ(WriteText(file, "x"), "4:0");
  unsigned long long size = 77;
  EXPECT_EQ(file.GetSize(&size), 4u);
  EXPECT_EQ(size, 77u);
  unsigned long long position = 77;
  EXPECT_EQ(file.GetPosition(&position), 4u);
  EXPECT_EQ(position, 0u);
  EXPECT_EQ(file.SetEndOfFile(), 4u);
  Tevrol::Long time = -1;
  EXPECT_FALSE(file.GetLastAccessTime(time));
  EXPECT_FALSE(file.GetLastChangeTime(time));
  EXPECT_FALSE(file.GetCreationTime(time));
  EXPECT_EQ(time, -1);

  // Stubs with fixed results.
  EXPECT_EQ(file.Flush(), 0u);
  EXPECT_EQ(file.EnableWait(), 0u);
  EXPECT_EQ(file.WaitForData(), 0u);
  EXPECT_EQ(file.DisableWait(), 0u);
  file.SetReadTimeout(100);
  EXPECT_EQ(file.GetReadTimeout(), 0);
  ULong returned = 5;
  EXPECT_EQ(file.DeviceIoControl(1, nullptr, 0, nullptr, 0, &returned), 0u);
  EXPECT_EQ(returned, 5u);
  DirEntryArray drives;
  File::GetRemovableDrives(drives);
  EXPECT_EQ(drives.GetSize(), 0);
}

// What Open gives for the ways a File can be built: a refused open leaves no
// file behind, and O_CREAT among the access flags brings the mode as well.
TEST_F(FileTest, OpenResultsAndWhatTheyCreate) {
  File unnamed;
  EXPECT_EQ(unnamed.Open(), 4u);
  File notCreating(At("missing").c_str(), O_RDWR, 0, 0, 0, false);
  EXPECT_EQ(notCreating.Open(), 1u);
  EXPECT_EQ(Entries(), 0u);

  // The default flags create a missing file, read-only, with mode 0644.
  mode_t const oldMask = umask(022);
  File namedDefault;
  namedDefault.SetFileName(TxString(At("missing").c_str()));
  EXPECT_EQ(namedDefault.Open(), 0u);
  umask(oldMask);
  EXPECT_EQ(std::filesystem::status(At("missing")).permissions(), std::filesystem::perms(0644));
  std::filesystem::remove(At("missing"));

  // A default-built File opens an existing file for reading only.
  Write(At("there"), "abc");
  File browserEntry;
  browserEntry.SetFileName(Tevrol::File::Path(TxString(At("there").c_str())));
  ASSERT_EQ(browserEntry.Open(), 0u);
  EXPECT_EQ(ReadText(browserEntry, 3), "0:abc");
  EXPECT_EQ(WriteText(browserEntry, "x"), "4:0");
  File full("/dev/full", O_WRONLY, 0, 0, 0, false);  // a failing write: nothing written
  ASSERT_EQ(full.Open(), 0u);
  EXPECT_EQ(WriteText(full, "abc"), "4:0");
  std::filesystem::remove(At("there"));

  // The name opened is cut to 254 bytes; the name itself stays whole.
  std::string const name = At(std::string(300 - m_dir.size() - 1, 'n'));
  ASSERT_EQ(name.size(), 300u);
  File file(TxString(name.c_str()), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  EXPECT_TRUE(Exists(name.substr(0, 254)));
  EXPECT_EQ(Entries(), 1u);
  EXPECT_EQ(Str(file.m_name), name);
}

TEST_F(FileTest, SetPositionMethods) {
  struct Row {
    int method;
    unsigned long long offset;
    ULong result;
    unsigned long long position;  // afterwards; every row starts at 5
  } const rows[] = {
      {File::Begin, 2, 0, 2},
      {File::Current, 2, 0, 7},
      {File::End, static_cast<unsigned long long>(-2), 0, 8},
      {File::Current, static_cast<unsigned long long>(-5), 0, 0},
      {-1, 4, 0, 4},  // an unknown method counts from the start
      {File::Begin, static_cast<unsigned long long>(-1), 4, 5},
  };
  Write(At("ten"), "0123456789");
  File file(At("ten").c_str(), O_RDONLY, 0, 0, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  for (Row const& row : rows) {
    SCOPED_TRACE(std::to_string(row.method) + " " + std::to_string(row.offset));
    ASSERT_EQ(file.SetPosition(5, File::Begin), 0u);
    EXPECT_EQ(file.SetPosition(row.offset, static_cast<File::MoveMethod>(row.method)), row.result);
    EXPECT_EQ(PositionOf(file), row.position);
  }
}

TEST_F(FileTest, RenameKeepsAnOpenFileOpenAtItsPosition) {
  std::string const content = "0123456789abcdefghij";
  // O_TRUNC in both sets of flags: neither may cut the file when it is reopened.
  File file(At("old").c_str(), O_RDWR | O_TRUNC, 0, O_CREAT | O_TRUNC, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ASSERT_EQ(WriteText(file, content), "0:20");
  ASSERT_EQ(file.SetPosition(10, File::Begin), 0u);

  ASSERT_TRUE(file.Rename(TxString(At("new").c_str()), false));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(Str(file.m_name), At("new"));
  EXPECT_FALSE(Exists(At("old")));
  EXPECT_EQ(PositionOf(file), 10u);
  EXPECT_EQ(SizeOf(file), content.size());  // O_TRUNC did not cut it again
  EXPECT_EQ(ReadText(file, 1), "0:a");

  // A relative name fails: still open, under the old name, at its position.
  ASSERT_EQ(file.SetPosition(10, File::Begin), 0u);
  EXPECT_FALSE(file.Rename(TxString("relative-name"), false));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(Str(file.m_name), At("new"));
  EXPECT_EQ(PositionOf(file), 10u);
  // The reopened descriptor still writes into the same file.
  ASSERT_EQ(WriteText(file, "Z"), "0:1");
  file.Close();

  // A closed file is renamed and stays closed.
  EXPECT_TRUE(file.Rename(TxString(At("third").c_str()), false));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(Read(At("third")), "0123456789Zbcdefghij");
}

TEST(FileStaticTest, NormalizeSlashes) {
  for (char const* row : {"a\\\\b|a/b", "//a//b|/a/b", "|", "\\\\srv\\x\\|/srv/x/", "abc|abc",
                          "a/\\/b/|a/b/", "/|/", "\\|/"}) {
    std::string text = Fields(row)[0];
    File::normalizeSlashes(&text[0]);
    EXPECT_EQ(text.c_str(), Fields(row)[1]) << row;
  }
  File::normalizeSlashes(nullptr);
}

// Names are bytes: high ones reach the file system unchanged.
TEST_F(FileTest, FileExistsForEveryKindButASocket) {
  std::string const high = At("caf\xC3\xA9-\xFF\x80\x7F");
  File file(TxString(high.c_str()), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ASSERT_TRUE(Exists(high));
  ASSERT_EQ(mkdir(At("dir").c_str(), 0700), 0);
  int const sock = BindSocket(At("sock"));
  ASSERT_GE(sock, 0);
  for (auto const& row : {std::pair{high, true},
                          {At("dir"), true},
                          {"/dev/null", true},
                          {At("sock"), false},
                          {At("none"), false},
                          {"", false}}) {
    EXPECT_EQ(File::FileExists(TxString(row.first.c_str())), row.second) << row.first;
  }
  close(sock);
}

TEST_F(FileTest, PermissionRefusedForAnUnprivilegedUser) {
  ASSERT_EQ(chmod(m_dir.c_str(), 0755), 0);  // reachable, not writable, for others
  Write(At("secret"), "x");
  ASSERT_EQ(chmod(At("secret").c_str(), 0600), 0);
  int const result = RunUnprivileged([this]() {
    File secret(At("secret").c_str(), O_RDONLY, 0, 0, 0, false);
    if (secret.Open() != 1) return 1;
    File created(At("new").c_str(), O_RDWR, 0, O_CREAT, 0, false);
    if (created.Open() != 1) return 2;
    if (!File::FileExists(TxString(At("secret").c_str()))) return 3;
    return 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_FALSE(Exists(At("new")));
}

}  // namespace
