#include "file/File.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

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
  std::vector<std::string> Listing() const {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(m_dir)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
};

ULong WriteText(File& file, std::string const& text, ULong* written) {
  return file.Write(reinterpret_cast<unsigned char const*>(text.data()),
                    static_cast<ULong>(text.size()), written);
}

std::string ReadText(File& file, ULong length, ULong* code) {
  std::string buffer(length, '\0');
  ULong got = 99;
  *code = file.Read(reinterpret_cast<unsigned char*>(&buffer[0]), length, &got);
  buffer.resize(got);
  return buffer;
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
  ULong written = 0;
  EXPECT_EQ(WriteText(file, "hello", &written), 0u);
  EXPECT_EQ(written, 5u);
  ASSERT_EQ(file.SetPosition(0, File::Begin), 0u);
  ULong code = 0;
  EXPECT_EQ(ReadText(file, 10, &code), "hello");
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(ReadText(file, 10, &code), "");
  EXPECT_EQ(code, 7u);
  EXPECT_EQ(SizeOf(file), 5u);
  Tevrol::Long time = -1;
  EXPECT_TRUE(file.GetLastModificationTime(time));
  EXPECT_GT(time, 0);
  EXPECT_EQ(file.GetInputStream(), static_cast<InputStream*>(&file));
  EXPECT_EQ(file.GetOutputStream(), static_cast<OutputStream*>(&file));
  EXPECT_STREQ(file.GetFriendlyName(), "unknown");

  // Closed: every call reaches the system with -1 and fails there.
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(ReadText(file, 4, &code), "");
  EXPECT_EQ(code, 4u);
  EXPECT_EQ(WriteText(file, "x", &written), 4u);
  EXPECT_EQ(written, 0u);
  unsigned long long size = 77;
  EXPECT_EQ(file.GetSize(&size), 4u);
  EXPECT_EQ(size, 77u);
  unsigned long long position = 77;
  EXPECT_EQ(file.GetPosition(&position), 4u);
  EXPECT_EQ(position, 0u);
  EXPECT_EQ(file.SetEndOfFile(), 4u);
  time = -1;
  EXPECT_FALSE(file.GetLastAccessTime(time));
  EXPECT_FALSE(file.GetLastChangeTime(time));
  EXPECT_FALSE(file.GetCreationTime(time));
  EXPECT_EQ(time, -1);
}

// What Open gives for the ways a File can be built: a refused open leaves no
// file behind, and O_CREAT among the access flags brings the mode as well.
TEST_F(FileTest, OpenResultsAndWhatTheyCreate) {
  File unnamed;
  EXPECT_EQ(unnamed.Open(), 4u);
  File notCreating(At("missing").c_str(), O_RDWR, 0, 0, 0, false);
  EXPECT_EQ(notCreating.Open(), 1u);
  EXPECT_TRUE(Listing().empty());

  // The default flags create a missing file, read-only, with mode 0644.
  mode_t const oldMask = umask(022);
  File namedDefault;
  namedDefault.SetFileName(TxString(At("missing").c_str()));
  EXPECT_EQ(namedDefault.Open(), 0u);
  umask(oldMask);
  EXPECT_EQ(std::filesystem::status(At("missing")).permissions(), std::filesystem::perms(0644));

  // A default-built File opens an existing file for reading only.
  Write(At("there"), "abc");
  File browserEntry;
  browserEntry.SetFileName(Tevrol::File::Path(TxString(At("there").c_str())));
  ASSERT_EQ(browserEntry.Open(), 0u);
  ULong code = 0;
  EXPECT_EQ(ReadText(browserEntry, 3, &code), "abc");
  ULong written = 9;
  EXPECT_EQ(WriteText(browserEntry, "x", &written), 4u);

  // The name opened is cut to 254 bytes; the name itself stays whole.
  std::filesystem::remove(At("there"));
  std::filesystem::remove(At("missing"));
  std::string const name = At(std::string(300 - m_dir.size() - 1, 'n'));
  ASSERT_EQ(name.size(), 300u);
  File file(TxString(name.c_str()), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  EXPECT_TRUE(Exists(name.substr(0, 254)));
  EXPECT_EQ(Listing().size(), 1u);
  EXPECT_EQ(Str(file.m_name), name);
}

TEST_F(FileTest, SetPositionMethods) {
  struct Row {
    int method;
    unsigned long long offset;
    ULong result;
    unsigned long long position;  // afterwards; every row starts at 5
  };
  std::vector<Row> const rows = {
      {File::Begin, 2, 0, 2},
      {File::Current, 2, 0, 7},
      {File::End, static_cast<unsigned long long>(-2), 0, 8},
      {File::Current, static_cast<unsigned long long>(-5), 0, 0},
      {9, 3, 0, 3},   // an unknown method counts from the start
      {-1, 4, 0, 4},  // so does a negative one
      {File::Begin, static_cast<unsigned long long>(-1), 4, 5},
      {File::Begin, 5 * kGiB, 0, 5 * kGiB},
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

TEST_F(FileTest, SparseFileBeyondFourGiB) {
  File file(At("sparse").c_str(), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ASSERT_EQ(file.SetPosition(5 * kGiB, File::Begin), 0u);
  ULong written = 0;
  ASSERT_EQ(WriteText(file, "x", &written), 0u);
  EXPECT_EQ(PositionOf(file), 5 * kGiB + 1);
  EXPECT_EQ(SizeOf(file), 5 * kGiB + 1);
  for (unsigned long long const end : {3 * kGiB, 0ull}) {
    ASSERT_EQ(file.SetPosition(end, File::Begin), 0u);
    EXPECT_EQ(file.SetEndOfFile(), 0u);
    EXPECT_EQ(SizeOf(file), end);
  }
}

TEST_F(FileTest, RenameKeepsAnOpenFileOpenAtItsPosition) {
  std::string const content = "0123456789abcdefghij";
  File file(At("old").c_str(), O_RDWR, 0, O_CREAT | O_TRUNC, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ULong written = 0;
  ASSERT_EQ(WriteText(file, content, &written), 0u);
  ASSERT_EQ(file.SetPosition(10, File::Begin), 0u);

  ASSERT_TRUE(file.Rename(TxString(At("new").c_str()), false));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(Str(file.m_name), At("new"));
  EXPECT_FALSE(Exists(At("old")));
  EXPECT_EQ(PositionOf(file), 10u);
  EXPECT_EQ(SizeOf(file), content.size());  // O_TRUNC did not cut it again
  ULong code = 0;
  EXPECT_EQ(ReadText(file, 1, &code), "a");

  // A relative name fails: still open, under the old name, at its position.
  ASSERT_EQ(file.SetPosition(10, File::Begin), 0u);
  EXPECT_FALSE(file.Rename(TxString("relative-name"), false));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(Str(file.m_name), At("new"));
  EXPECT_EQ(PositionOf(file), 10u);
  EXPECT_TRUE(Exists(At("new")));
  // The reopened descriptor still writes into the same file.
  ASSERT_EQ(WriteText(file, "Z", &written), 0u);
  file.Close();

  // A closed file is renamed and stays closed.
  EXPECT_TRUE(file.Rename(TxString(At("third").c_str()), false));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(Read(At("third")), "0123456789Zbcdefghij");
}

TEST(FileStaticTest, NormalizeSlashes) {
  struct Row {
    char const* in;
    char const* out;
  } const rows[] = {
      {"a\\\\b", "a/b"}, {"//a//b", "/a/b"},  {"", ""},   {"\\\\srv\\x\\", "/srv/x/"},
      {"abc", "abc"},    {"a/\\/b/", "a/b/"}, {"/", "/"}, {"\\", "/"},
  };
  for (Row const& row : rows) {
    std::string text = row.in;
    File::normalizeSlashes(&text[0]);
    EXPECT_STREQ(text.c_str(), row.out) << row.in;
  }
  File::normalizeSlashes(nullptr);
}

// Names are bytes: high ones reach the file system unchanged.
TEST_F(FileTest, FileExistsForEveryKindButASocket) {
  std::string const high = At("caf\xC3\xA9-\xFF\x80\x7F");
  File file(TxString(high.c_str()), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ASSERT_TRUE(Exists(high));
  Write(At("plain"), "x");
  ASSERT_EQ(mkdir(At("dir").c_str(), 0700), 0);
  int const sock = BindSocket(At("sock"));
  ASSERT_GE(sock, 0);
  struct Row {
    std::string path;
    bool exists;
  } const rows[] = {
      {At("plain"), true}, {At("dir"), true}, {"/dev/null", true}, {At("sock"), false},
      {At("none"), false}, {"", false},       {high, true},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(File::FileExists(TxString(row.path.c_str())), row.exists) << row.path;
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

TEST(FileStaticTest, StubsHaveFixedResultsAndAFullDeviceFailsWrites) {
  File file;
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

  // A failing write reports failure and nothing written.
  File full("/dev/full", O_WRONLY, 0, 0, 0, false);
  ASSERT_EQ(full.Open(), 0u);
  ULong written = 9;
  EXPECT_EQ(WriteText(full, "abc", &written), 4u);
  EXPECT_EQ(written, 0u);
}

}  // namespace
