#include "file/File.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "file/DirEntryArray.h"
#include "file/FileTestSupport.h"
#include "file/UnprivilegedChild.h"

namespace {

using Tevrol::ULong;

constexpr unsigned long long kGiB = 1024ull * 1024 * 1024;

class FileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/tevrol-file-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    m_folder = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  std::string In(std::string const& leaf) const { return m_folder + "/" + leaf; }

  static void Put(std::string const& name, std::string const& bytes) {
    std::FILE* const out = std::fopen(name.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    std::fclose(out);
  }

  static bool Exists(std::string const& name) {
    struct stat info;
    return lstat(name.c_str(), &info) == 0;
  }

  std::vector<std::string> Listing() const {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(m_folder)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  std::string m_folder;
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

TEST_F(FileTest, ClosedUntilOpenThenReadWriteAndEnd) {
  File file(In("f").c_str(), O_RDWR, 0, O_CREAT, 0, false);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(Exists(In("f")));
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
  unsigned long long size = 0;
  EXPECT_EQ(file.GetSize(&size), 0u);
  EXPECT_EQ(size, 5u);
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
  size = 77;
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
  File notCreating(In("missing").c_str(), O_RDWR, 0, 0, 0, false);
  EXPECT_EQ(notCreating.Open(), 1u);
  EXPECT_TRUE(Listing().empty());

  // The default flags create a missing file, read-only, with mode 0644.
  mode_t const oldMask = umask(022);
  File namedDefault;
  namedDefault.SetFileName(TxString(In("missing").c_str()));
  EXPECT_EQ(namedDefault.Open(), 0u);
  umask(oldMask);
  struct stat made;
  ASSERT_EQ(stat(In("missing").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777, 0644u);

  // A default-built File opens an existing file for reading only.
  Put(In("there"), "abc");
  File browserEntry;
  browserEntry.SetFileName(Tevrol::File::Path(TxString(In("there").c_str())));
  ASSERT_EQ(browserEntry.Open(), 0u);
  ULong code = 0;
  EXPECT_EQ(ReadText(browserEntry, 3, &code), "abc");
  ULong written = 9;
  EXPECT_EQ(WriteText(browserEntry, "x", &written), 4u);
}

TEST_F(FileTest, NameIsCutTo254Bytes) {
  std::string const name = In(std::string(300 - m_folder.size() - 1, 'n'));
  ASSERT_EQ(name.size(), 300u);
  File file(TxString(name.c_str()), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  EXPECT_TRUE(Exists(name.substr(0, 254)));
  EXPECT_EQ(Listing().size(), 1u);
  EXPECT_EQ(Str(file.m_name), name);  // the name itself stays whole
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
  Put(In("ten"), "0123456789");
  File file(In("ten").c_str(), O_RDONLY, 0, 0, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  for (Row const& row : rows) {
    SCOPED_TRACE(std::to_string(row.method) + " " + std::to_string(row.offset));
    ASSERT_EQ(file.SetPosition(5, File::Begin), 0u);
    EXPECT_EQ(file.SetPosition(row.offset, static_cast<File::MoveMethod>(row.method)), row.result);
    unsigned long long position = 0;
    EXPECT_EQ(file.GetPosition(&position), 0u);
    EXPECT_EQ(position, row.position);
  }
}

TEST_F(FileTest, SparseFileBeyondFourGiB) {
  File file(In("sparse").c_str(), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ASSERT_EQ(file.SetPosition(5 * kGiB, File::Begin), 0u);
  ULong written = 0;
  ASSERT_EQ(WriteText(file, "x", &written), 0u);
  unsigned long long value = 0;
  EXPECT_EQ(file.GetPosition(&value), 0u);
  EXPECT_EQ(value, 5 * kGiB + 1);
  EXPECT_EQ(file.GetSize(&value), 0u);
  EXPECT_EQ(value, 5 * kGiB + 1);

  ASSERT_EQ(file.SetPosition(3 * kGiB, File::Begin), 0u);
  EXPECT_EQ(file.SetEndOfFile(), 0u);
  EXPECT_EQ(file.GetSize(&value), 0u);
  EXPECT_EQ(value, 3 * kGiB);
  ASSERT_EQ(file.SetPosition(0, File::Begin), 0u);
  EXPECT_EQ(file.SetEndOfFile(), 0u);
  EXPECT_EQ(file.GetSize(&value), 0u);
  EXPECT_EQ(value, 0u);
}

TEST_F(FileTest, RenameKeepsAnOpenFileOpenAtItsPosition) {
  std::string const content = "0123456789abcdefghij";
  File file(In("old").c_str(), O_RDWR, 0, O_CREAT | O_TRUNC, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  ULong written = 0;
  ASSERT_EQ(WriteText(file, content, &written), 0u);
  ASSERT_EQ(file.SetPosition(10, File::Begin), 0u);

  ASSERT_TRUE(file.Rename(TxString(In("new").c_str()), false));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(Str(file.m_name), In("new"));
  EXPECT_FALSE(Exists(In("old")));
  unsigned long long value = 0;
  EXPECT_EQ(file.GetPosition(&value), 0u);
  EXPECT_EQ(value, 10u);
  EXPECT_EQ(file.GetSize(&value), 0u);
  EXPECT_EQ(value, content.size());  // O_TRUNC did not cut it again
  ULong code = 0;
  EXPECT_EQ(ReadText(file, 1, &code), "a");

  // A relative name fails: still open, under the old name, at its position.
  ASSERT_EQ(file.SetPosition(10, File::Begin), 0u);
  EXPECT_FALSE(file.Rename(TxString("relative-name"), false));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(Str(file.m_name), In("new"));
  EXPECT_EQ(file.GetPosition(&value), 0u);
  EXPECT_EQ(value, 10u);
  EXPECT_TRUE(Exists(In("new")));
  // The reopened descriptor still writes into the same file.
  ASSERT_EQ(WriteText(file, "Z", &written), 0u);
  file.Close();

  // A closed file is renamed and stays closed.
  EXPECT_TRUE(file.Rename(TxString(In("third").c_str()), false));
  EXPECT_FALSE(file.IsOpen());
  std::FILE* const in = std::fopen(In("third").c_str(), "rb");
  ASSERT_NE(in, nullptr);
  char bytes[32] = {};
  EXPECT_EQ(std::fread(bytes, 1, sizeof(bytes), in), content.size());
  std::fclose(in);
  EXPECT_EQ(std::string(bytes), "0123456789Zbcdefghij");
}

TEST(FileStaticTest, NormalizeSlashes) {
  struct Row {
    char const* in;
    char const* out;
  };
  std::vector<Row> const rows = {
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

TEST_F(FileTest, FileExistsForEveryKindButASocket) {
  Put(In("plain"), "x");
  ASSERT_EQ(mkdir(In("dir").c_str(), 0700), 0);
  int const sock = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(sock, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, In("sock").c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  struct Row {
    std::string path;
    bool exists;
  };
  std::vector<Row> const rows = {
      {In("plain"), true}, {In("dir"), true},   {"/dev/null", true},
      {In("sock"), false}, {In("none"), false}, {"", false},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(File::FileExists(TxString(row.path.c_str())), row.exists) << row.path;
  }
  close(sock);
}

TEST_F(FileTest, NamesWithHighBytesRoundTrip) {
  std::string const leaf = "caf\xC3\xA9-\xFF\x80\x7F";
  File file(TxString(In(leaf).c_str()), O_RDWR, 0, O_CREAT, 0, false);
  ASSERT_EQ(file.Open(), 0u);
  EXPECT_EQ(Listing(), std::vector<std::string>{leaf});
  EXPECT_TRUE(File::FileExists(TxString(In(leaf).c_str())));
}

TEST(FileStaticTest, WriteFailureOnAFullDevice) {
  File full("/dev/full", O_WRONLY, 0, 0, 0, false);
  ASSERT_EQ(full.Open(), 0u);
  ULong written = 9;
  EXPECT_EQ(WriteText(full, "abc", &written), 4u);
  EXPECT_EQ(written, 0u);
}

TEST_F(FileTest, PermissionRefusedForAnUnprivilegedUser) {
  ASSERT_EQ(chmod(m_folder.c_str(), 0755), 0);  // reachable, not writable, for others
  Put(In("secret"), "x");
  ASSERT_EQ(chmod(In("secret").c_str(), 0600), 0);
  int const result = RunUnprivileged([this]() {
    File secret(In("secret").c_str(), O_RDONLY, 0, 0, 0, false);
    if (secret.Open() != 1) return 1;
    File created(In("new").c_str(), O_RDWR, 0, O_CREAT, 0, false);
    if (created.Open() != 1) return 2;
    if (!File::FileExists(TxString(In("secret").c_str()))) return 3;
    return 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_FALSE(Exists(In("new")));
}

TEST(FileStaticTest, StubsHaveFixedResults) {
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
}

}  // namespace
