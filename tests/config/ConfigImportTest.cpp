#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <random>
#include <string>

#include "ConfigTestSupport.h"
#include "config/ConfigLineParser.h"
#include "config/ConfigSystemImpl.h"

namespace {

// Counts what the reader hands on, to check that every byte of a file is
// accounted for exactly once.
struct ByteCounter : ConfigImportObserver {
  void FileRead(char const* path) override { file = path != nullptr ? path : ""; }
  void OpenFailed(char const* path, int error) override {
    failed += std::string(path) + ":" + std::to_string(error) + " ";
  }
  void ReadFailed(int error) override { readError = error; }
  void Line(Tevrol::ULong, char const*, Tevrol::ULong length, ConfigLine const&) override {
    ++lines;
    bytes += length;
  }
  void End(Tevrol::ULong, char const*, Tevrol::ULong length) override { dropped = length; }
  std::string file, failed;
  int readError = 0;
  std::size_t lines = 0, bytes = 0, dropped = 0;
};

std::string ImportFolder(ConfigSystemImpl& system, TempFolder const& folder) {
  system.SetPersistentStorageFolder(folder.Path().c_str());
  EXPECT_EQ(system.Import(), 0);
  return Dump(system);
}

// "/config.ini" if it opens, else "/config2.ini"; never both.
TEST(ConfigImportTest, ConfigIniOrElseConfig2) {
  char const* const a = "[A]\n\"k\"=d:1\n";
  char const* const b = "[B]\n\"k\"=d:2\n";
  struct Case {
    char const* ini;
    char const* ini2;
    std::string store;
  } const cases[] = {
      {a, b, "A/k=n:1"},      {"", b, ""},  // an empty config.ini wins
      {"no line end", b, ""}, {nullptr, b, "B/k=n:2"},
      {nullptr, nullptr, ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(std::string(c.ini != nullptr ? c.ini : "(none)"));
    TempFolder folder;
    if (c.ini != nullptr) folder.Write("config.ini", c.ini);
    if (c.ini2 != nullptr) folder.Write("config2.ini", c.ini2);
    ConfigSystemImpl system;
    EXPECT_EQ(ImportFolder(system, folder), c.store);
    system.Shutdown();
  }
}

// An import adds: what a later file lacks stays, what it has replaces.
TEST(ConfigImportTest, ImportsAddAndNeverClear) {
  TempFolder folder;
  ConfigSystemImpl system;
  system.StoreStringValue("Own", "k", "mine");
  folder.Write("config.ini", "[G]\n\"a\"=d:1\n\"b\"=d:2\n");
  EXPECT_EQ(ImportFolder(system, folder), "G/a=n:1 G/b=n:2 Own/k=\"mine\"");
  folder.Write("config.ini", "[G]\n\"b\"=\"two\"\n\"c\"=h:03\n");
  EXPECT_EQ(ImportFolder(system, folder), "G/a=n:1 G/b=\"two\" G/c=h:03 Own/k=\"mine\"");
  system.Shutdown();
}

// Lines reach the store through the virtual store operations, so that a
// derived system sees every value an import brings.
TEST(ConfigImportTest, LinesGoThroughTheVirtualStoreOperations) {
  struct Recording : ConfigSystemImpl {
    bool StoreNumericalValue(TxString const& g, TxString const& k, Tevrol::Long v) override {
      calls += std::string(g.ToLatin1()) + "/" + std::string(k.ToLatin1()) + "=n ";
      return ConfigSystemImpl::StoreNumericalValue(g, k, v);
    }
    bool StoreStringValue(TxString const& g, TxString const& k, TxString const& v) override {
      calls += std::string(g.ToLatin1()) + "/" + std::string(k.ToLatin1()) + "=t ";
      return ConfigSystemImpl::StoreStringValue(g, k, v);
    }
    bool StoreByteArray(TxString const& g, TxString const& k, unsigned char* d,
                        Tevrol::ULong n) override {
      calls += std::string(g.ToLatin1()) + "/" + std::string(k.ToLatin1()) + "=h ";
      return ConfigSystemImpl::StoreByteArray(g, k, d, n);
    }
    std::string calls;
  };
  TempFolder folder;
  folder.Write("config.ini", "[G]\n\"n\"=d:1\n\"t\"=\"x\"\n[H]\n\"b\"=h:01\n\"n\"=d:1\n");
  Recording system;
  EXPECT_EQ(ImportFolder(system, folder), "G/n=n:1 G/t=\"x\" H/b=h:01 H/n=n:1");
  EXPECT_EQ(system.calls, "G/n=n G/t=t H/b=h H/n=n ");
  system.Shutdown();
}

// Generated files never crash the reader nor make it read past a buffer (the
// sanitizer builds watch), and every byte is read once: as part of a line or
// as the dropped end.
TEST(ConfigImportTest, GeneratedFilesAreReadByteForByte) {
  std::mt19937 random(20261123);
  const std::string alphabet = "[]\"=dDhH:,0123456789abcdefx \t\r\n\n\n";
  std::vector<std::string> files = {std::string(5000, 'x'), std::string(1023 * 3, '"'),
                                    "[G]\n\"k\"=hex:" + std::string(3000, '1') + "\n",
                                    std::string(2046, '\n')};
  for (int i = 0; i < 60; ++i) {
    std::string file(random() % 4000, '\0');
    for (char& c : file) {
      c = random() % 4 == 0 ? static_cast<char>(random() % 256)
                            : alphabet[random() % alphabet.size()];
    }
    files.push_back(file);
  }
  TempFolder folder;
  for (std::size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    folder.Write("config.ini", files[i]);
    ConfigSystemImpl system;
    system.SetPersistentStorageFolder(folder.Path().c_str());
    ByteCounter counter;
    system.ImportFile(&counter);
    Dump(system);
    system.Shutdown();
    EXPECT_EQ(counter.file, folder.Path() + "/config.ini");
    EXPECT_EQ(counter.bytes + counter.dropped, files[i].size());
    if (files[i].find('\n') == std::string::npos) {
      EXPECT_EQ(counter.lines, files[i].size() / 1023);  // pieces of 1023 bytes
    }
  }
}

// The checker learns which file did not open and why, and that a file which
// opened could not be read; the store does not see the difference.
TEST(ConfigImportTest, ObserverHearsOfFilesThatDoNotOpenOrRead) {
  TempFolder folder;
  std::string const first = folder.Path() + "/config.ini", second = folder.Path() + "/config2.ini";
  std::string const missing = ":" + std::to_string(ENOENT) + " ";
  struct Case {
    char const* what;
    bool folderAsFirst, secondExists;
    std::string failed, file;
    int readError;
  } const cases[] = {
      {"neither", false, false, first + missing + second + missing, "", 0},
      {"fallback", false, true, first + missing, second, 0},
      {"a folder opens but cannot be read", true, true, "", first, EISDIR},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.what);
    char const* const content = c.secondExists ? "[B]\n\"k\"=d:2\n" : nullptr;
    folder.Write("config2.ini", content, content != nullptr ? std::strlen(content) : 0);
    if (c.folderAsFirst) mkdir(first.c_str(), 0755);
    ConfigSystemImpl system;
    system.SetPersistentStorageFolder(folder.Path().c_str());
    ByteCounter counter;
    system.ImportFile(&counter);
    EXPECT_EQ(counter.failed, c.failed);
    EXPECT_EQ(counter.file, c.file);
    EXPECT_EQ(counter.readError, c.readError);
    EXPECT_EQ(Dump(system), c.secondExists && !c.folderAsFirst ? "B/k=n:2" : "");
    system.Shutdown();
    rmdir(first.c_str());
  }
}

}  // namespace
