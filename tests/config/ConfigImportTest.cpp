#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <random>
#include <string>

#include "ConfigTestSupport.h"
#include "config/ConfigImportModel.h"
#include "config/ConfigLineParser.h"
#include "config/ConfigSystemImpl.h"
#include "file/InputStreamBuffer.h"

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

// A file of lines picked from what real and broken files hold, some of them
// mutated, with line ends LF, CR LF or a lone CR and now and then none at the
// end.
std::string GeneratedFile(std::mt19937& random) {
  static char const* const kLines[] = {
      "[G]",
      "[Group 2]",
      "[]",
      "[Open",
      "[G] trailing",
      " [Indented]",
      "[G\r]",
      "\"k\"=d:1f",
      "\"k\"=dword:ffffffff",
      "\"k\"=D:123456789",
      "\"k\"=d:",
      "\"k\"=d: -0x1F",
      "\"k\"=d:+",
      "\"k\"=d:0x",
      "\"n\"=d:31",
      "\"k\"=hex:0a,ff,10",
      "\"k\"=h:0x5,-1, +f,0X",
      "\"k\"=hex:",
      "\"k\"=H:1 2 3",
      "\"b\"=hex:0a ff",
      "\"k\"=\"text\"",
      "\"k\"=\"\"",
      "\"k\"=\"open",
      "\"\"=\"empty key\"",
      "\"k\" =d:1",
      "\"k\"=7",
      "\"k\"=d1",
      "\"k",
      "# comment",
      "; comment",
      "",
      "  ",
      "\"t\"=\"v\"x",
  };
  static char const* const kEnds[] = {"\n", "\n", "\n", "\r\n", "\r"};
  std::string file;
  int const lines = static_cast<int>(random() % 40);
  for (int i = 0; i < lines; ++i) {
    std::string line = kLines[random() % (sizeof kLines / sizeof *kLines)];
    switch (random() % 8) {
      case 0:  // over 1023 bytes, or just about
        line += std::string(1000 + random() % 1200, "x0a,\""[random() % 5]);
        break;
      case 1:
        if (!line.empty()) line[random() % line.size()] = static_cast<char>(random() % 256);
        break;
      case 2:
        line.insert(random() % (line.size() + 1), 1, '\0');
        break;
      default:
        break;
    }
    file += line + kEnds[random() % (sizeof kEnds / sizeof *kEnds)];
  }
  if (random() % 4 == 0) file += "\"last\"=d:1";  // no line end: no line
  return file;
}

struct Seen {
  std::string calls, observed, store;
  bool dirty = false, timer = false;
};

template <class Import>
Seen Observe(Import import) {
  ConfigImportModel::RecordingSystem system;
  ConfigImportModel::RecordingObserver observer;
  import(system, observer);
  Seen seen{system.calls, observer.calls, Dump(system)};
  system.GetFlagsForTesting(seen.dirty, seen.timer);
  system.Shutdown();
  return seen;
}

void ExpectSame(Seen const& seen, Seen const& model) {
  EXPECT_EQ(seen.calls, model.calls);
  EXPECT_EQ(seen.observed, model.observed);
  EXPECT_EQ(seen.store, model.store);
  EXPECT_EQ(seen.dirty, model.dirty);
  EXPECT_EQ(seen.timer, model.timer);
}

// Import against the plain reader it replaced: the same store calls in the
// same order, the same observer calls and the same store, from a file and
// from streams that hand out their bytes in pieces of every size, through a
// ring of every size.
TEST(ConfigImportTest, GeneratedFilesGiveWhatThePlainReaderGives) {
  using ConfigImportModel::RecordingObserver;
  using ConfigImportModel::RecordingSystem;
  std::mt19937 random(20261124);
  TempFolder folder;
  for (int i = 0; i < 300; ++i) {
    std::string const file = GeneratedFile(random);
    SCOPED_TRACE(Escaped(file.data(), file.size()).substr(0, 200));
    folder.Write("config.ini", file);
    auto const fromFolder = [&](RecordingSystem& system, RecordingObserver& observer) {
      system.SetPersistentStorageFolder(folder.Path().c_str());
      system.ImportFile(&observer);
    };
    auto const modelFromFolder = [&](RecordingSystem& system, RecordingObserver& observer) {
      system.SetPersistentStorageFolder(folder.Path().c_str());
      ConfigImportModel::ImportFile(system, &observer);
    };
    Seen const model = Observe(modelFromFolder);
    ExpectSame(Observe(fromFolder), model);

    Tevrol::ULong const piece = 1 + random() % 1500;
    Tevrol::Long const ring = static_cast<Tevrol::Long>(1 + random() % 3000);
    auto const fromBuffer = [&](RecordingSystem& system, RecordingObserver& observer) {
      MemoryStream source(file, piece);
      InputStreamBuffer stream(&source, ring);
      system.ImportLines(stream, &observer);
    };
    auto const fromStream = [&](RecordingSystem& system, RecordingObserver& observer) {
      MemoryStream stream(file, piece);
      system.ImportLines(stream, &observer);
    };
    auto const modelFromStream = [&](RecordingSystem& system, RecordingObserver& observer) {
      MemoryStream stream(file, piece);
      ConfigImportModel::ImportLines(system, stream, &observer);
    };
    Seen const streamModel = Observe(modelFromStream);
    ExpectSame(Observe(fromBuffer), streamModel);
    ExpectSame(Observe(fromStream), streamModel);
    if (HasFailure()) break;  // one file's differences are enough to read
  }
}

// The pieces of a line over 1023 bytes share its number, and the lines
// behind it keep theirs; how each piece was read goes with it.
TEST(ConfigImportTest, ObserverNumbersTheLinesBehindALineOver1023Bytes) {
  using K = ConfigLineKind;
  using N = ConfigLineNote;
  struct Row {
    Tevrol::ULong line;
    K kind;
    N note;
  };
  struct Lines : ConfigImportObserver {
    void FileRead(char const*) override {}
    void Line(Tevrol::ULong lineNumber, char const*, Tevrol::ULong,
              ConfigLine const& parsed) override {
      rows.push_back({lineNumber, parsed.kind, parsed.note});
    }
    void End(Tevrol::ULong lineNumber, char const*, Tevrol::ULong length) override {
      end = lineNumber;
      dropped = length;
    }
    std::vector<Row> rows;
    Tevrol::ULong end = 0, dropped = 0;
  };
  std::string list;
  for (int i = 0; i < 400; ++i) list += "01,";
  TempFolder folder;
  folder.Write("config.ini", "[G]\n\"long\"=\"" + std::string(1500, 'x') +
                                 "\"\n\"n\"=d:1f\n[H\r\n" + "\"k\"=hex:" + list + "\n# " +
                                 std::string(2100, '#') + "\n\"t\"=\"v\"\n\"last\"=d:1");
  Row const expected[] = {
      {1, K::Group, N::None},
      {2, K::Ignored, N::TextUnclosed},
      {2, K::Ignored, N::CutLineRest},
      {3, K::Number, N::None},
      {4, K::Group, N::HeaderUnclosed},
      {5, K::Bytes, N::LineCut},
      {5, K::Ignored, N::CutLineRest},
      {6, K::Ignored, N::Comment},
      {6, K::Ignored, N::CutLineRest},
      {6, K::Ignored, N::CutLineRest},
      {7, K::Text, N::None},
  };
  ConfigSystemImpl system;
  system.SetPersistentStorageFolder(folder.Path().c_str());
  Lines lines;
  system.ImportFile(&lines);
  ASSERT_EQ(lines.rows.size(), sizeof expected / sizeof *expected);
  for (std::size_t i = 0; i < lines.rows.size(); ++i) {
    EXPECT_EQ(lines.rows[i].line, expected[i].line) << "row " << i;
    EXPECT_EQ(lines.rows[i].kind, expected[i].kind) << "row " << i;
    EXPECT_EQ(lines.rows[i].note, expected[i].note) << "row " << i;
  }
  EXPECT_EQ(lines.end, 8u);
  EXPECT_EQ(lines.dropped, 10u);
  Tevrol::Long number = 0;
  EXPECT_TRUE(system.RetrieveNumericalValue("G", "n", number, 0));
  EXPECT_EQ(number, 31);
  TxString text;
  EXPECT_TRUE(system.RetrieveStringValue("H\r\n", "t", text, NULLString));
  system.Shutdown();
}

}  // namespace
