// The configuration checker as a user runs it: the real program on files in a
// temporary folder, its exit status, standard output and standard error.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

struct ToolRun {
  int status = -1;
  std::string out, err;
};

std::string Slurp(fs::path const& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// A folder of configuration files, open to every user, with a copy of the
// tool that an unprivileged user can run wherever the build lies.
class ToolFolder {
 public:
  ToolFolder() {
    char name[] = "/tmp/tevrol-tool-XXXXXX";
    if (mkdtemp(name) != nullptr) m_root = name;
    fs::create_directory(m_root / "cfg");
    fs::copy_file(TEVROL_CONFIG_TOOL, m_root / "tevrol_config");
    fs::permissions(m_root, fs::perms::all & ~fs::perms::others_write & ~fs::perms::group_write);
  }
  ~ToolFolder() {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
  }
  fs::path Config() const { return m_root / "cfg"; }
  void Write(std::string const& name, std::string const& bytes) const {
    std::ofstream(Config() / name, std::ios::binary) << bytes;
  }

  // Runs the tool with `arguments` (the folder is the last one unless
  // `folder` is false); as the unprivileged user "nobody" when asked and the
  // tests run as root, where no permission check fails.
  ToolRun Tool(std::string const& arguments, bool unprivileged = false, bool folder = true) const {
    std::string command;
    if (unprivileged && geteuid() == 0) {
      // Coverage data of an instrumented build goes where this user may write.
      fs::create_directory(m_root / "gcov");
      fs::permissions(m_root / "gcov", fs::perms::all);
      command = "GCOV_PREFIX=" + (m_root / "gcov").string() +
                " setpriv --reuid=65534 --regid=65534 --clear-groups ";
    }
    // Under qemu a program cannot exec another ARM program directly.
    if (char const* emulator = std::getenv("TEST_EMULATOR")) command += std::string(emulator) + " ";
    command += (m_root / "tevrol_config").string() + " " + arguments;
    if (folder) command += " " + Config().string();
    command += " >" + (m_root / "out").string() + " 2>" + (m_root / "err").string();
    int const raw = std::system(command.c_str());
    ToolRun run;
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = Slurp(m_root / "out");
    run.err = Slurp(m_root / "err");
    return run;
  }

 private:
  fs::path m_root;
};

// One finding as the JSON output lists it.
std::string Finding(int line, bool fails, char const* id) {
  return "{\"line\": " + std::to_string(line) + ", \"fails\": " + (fails ? "true" : "false") +
         ", \"id\": \"" + id + "\"";
}

std::size_t Count(std::string const& text, std::string const& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

// Lines that lose settings fail; comments and blank lines never do.
TEST(ConfigToolTest, FindsEveryLineThatLosesASetting) {
  const std::string longComment = "; " + std::string(1021, 'c');  // exactly 1023 bytes
  struct Case {
    char const* what;
    std::string file;
    int status;
    std::string finding;  // as in Finding(), "" for none
    char const* store;    // a part of the JSON store, "" to skip
  } const cases[] = {
      {"clean", "; comment\n\n[G]\n\"a\"=\"x\"\n\"n\"=dword:0000001f\n\"b\"=hex:01,02\n  \n", 0, "",
       "{\"key\": \"n\", \"type\": \"number\", \"value\": 31}"},
      {"indented header", "[G]\n\"a\"=\"x\"\n  [H]\n\"b\"=\"y\"\n", 1,
       Finding(3, true, "indented-line"), "{\"key\": \"b\""},
      {"indented key", "[G]\n\t\"a\"=\"x\"\n", 1, Finding(2, true, "indented-line"),
       "\"store\": []"},
      {"all keys indented", "[G]\n \"a\"=\"x\"\n \"b\"=\"y\"\n", 1,
       Finding(3, true, "indented-line"), ""},
      {"byte order mark", "\xEF\xBB\xBF[G]\n\"a\"=\"x\"\n", 1, Finding(1, true, "byte-order-mark"),
       "\"store\": []"},
      {"byte order mark before a comment", "\xEF\xBB\xBF; note\n[G]\n\"a\"=\"x\"\n", 1,
       Finding(1, true, "byte-order-mark"), "{\"key\": \"a\""},
      {"comment whose rest is a key", "[G]\n" + longComment + "\"k\"=\"v\"\n", 1,
       Finding(2, true, "line-too-long"), "{\"key\": \"k\", \"type\": \"text\", \"value\": \"v\"}"},
      {"long comment", "[G]\n" + longComment + "ccc\n", 0, Finding(2, false, "line-too-long"), ""},
      {"long value", "[G]\n\"k\"=\"" + std::string(3000, 'x') + "\"\n", 1,
       Finding(2, true, "line-too-long"), "\"store\": []"},
      {"decimal number", "[G]\n\"n\"=d:31\n", 1, Finding(2, true, "number-looks-decimal"),
       "\"value\": 49"},
      {"no line end", "[G]\n\"a\"=\"x\"", 1, Finding(2, true, "no-line-end"), ""},
      {"blanks behind the last line end", "[G]\n  ", 0, Finding(2, false, "no-line-end"), ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.what);
    ToolFolder folder;
    folder.Write("config.ini", c.file);
    ToolRun const run = folder.Tool("--json");
    EXPECT_EQ(run.status, c.status) << run.out << run.err;
    if (!c.finding.empty()) {
      EXPECT_EQ(Count(run.out, c.finding), 1u) << run.out;
    }
    EXPECT_NE(run.out.find(c.store), std::string::npos) << run.out;
    EXPECT_EQ(run.err, "");
  }
}

// A cut line is reported once, with what each piece became, and not once
// per piece, also with --lines.
TEST(ConfigToolTest, SaysOnceWhatBecameOfALineOverTheLimit) {
  ToolFolder folder;
  folder.Write("config.ini", "[G]\n; " + std::string(1021, 'c') + "\"k\"=\"v\"\n\"z\"=\"" +
                                 std::string(3000, 'q') + "\"\n");
  ToolRun const run = folder.Tool("--lines");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(Count(run.out, "FAIL line 2:"), 1u) << run.out;
  EXPECT_NE(run.out.find("1031 bytes long, over the limit of 1023"), std::string::npos);
  EXPECT_NE(run.out.find("Bytes 1024 to 1031 become a key \"k\" of its own in group [G]"),
            std::string::npos)
      << run.out;
  EXPECT_EQ(Count(run.out, "FAIL line 3:"), 1u);
  EXPECT_EQ(Count(run.out, "line 3:"), 1u);
  EXPECT_NE(run.out.find("Bytes 2047 to 3007 become a comment"), std::string::npos);
  EXPECT_NE(run.out.find("2 line(s) dropped or misread"), std::string::npos);
}

// Which file was read, which could not be opened and why: errors on
// standard error, the store on standard output, and 3 wins over 1.
TEST(ConfigToolTest, NamesTheFileThatCouldNotBeOpenedAndWarnsAboutTheFallback) {
  {
    SCOPED_TRACE("config.ini unreadable");
    ToolFolder folder;
    folder.Write("config.ini", "[Lost]\n\"a\"=\"x\"\n");
    folder.Write("config2.ini", "[Used]\n\"b\"=\"y\"\n \"c\"=\"z\"\n");
    chmod((folder.Config() / "config.ini").c_str(), 0);
    ToolRun const run = folder.Tool("", true);
    EXPECT_EQ(run.status, 3) << run.out << run.err;
    EXPECT_NE(run.err.find("cannot open " + (folder.Config() / "config.ini").string() +
                           ": Permission denied"),
              std::string::npos)
        << run.err;
    EXPECT_NE(run.err.find("warning: " + (folder.Config() / "config2.ini").string() +
                           " is read, because"),
              std::string::npos);
    EXPECT_NE(run.out.find("Read " + (folder.Config() / "config2.ini").string()),
              std::string::npos);
    EXPECT_NE(run.out.find("[Used]"), std::string::npos);
    EXPECT_NE(run.out.find("FAIL line 3:"), std::string::npos);
    EXPECT_EQ(run.out.find("cannot open"), std::string::npos);
    EXPECT_EQ(run.err.find("[Used]"), std::string::npos);
  }
  {
    SCOPED_TRACE("config.ini missing: a warning, and the lines decide");
    ToolFolder folder;
    folder.Write("config2.ini", "[Used]\n\"b\"=\"y\"\n");
    ToolRun const run = folder.Tool("");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("config.ini does not exist"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("cannot open"), std::string::npos);
  }
  {
    SCOPED_TRACE("config.ini is a folder: it opens, but reads nothing");
    ToolFolder folder;
    fs::create_directory(folder.Config() / "config.ini");
    folder.Write("config2.ini", "[Unused]\n\"b\"=\"y\"\n");
    ToolRun const run = folder.Tool("--json");
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("config.ini: Is a directory"), std::string::npos) << run.err;
    EXPECT_NE(run.out.find("\"read_error\": \"Is a directory\""), std::string::npos) << run.out;
  }
  {
    SCOPED_TRACE("neither file");
    ToolFolder folder;
    ToolRun const run = folder.Tool("--json");
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("nothing is read"), std::string::npos);
    EXPECT_NE(run.out.find("\"file\": null"), std::string::npos);
    EXPECT_EQ(Count(run.out, "\"missing\": true"), 2u) << run.out;
  }
}

TEST(ConfigToolTest, HelpAndWrongCalls) {
  ToolFolder folder;
  ToolRun run = folder.Tool("--help", false, false);
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("docs/config-format.md"), std::string::npos);
  EXPECT_EQ(run.err, "");
  for (char const* wrong : {"", "--bogus", "one two"}) {
    SCOPED_TRACE(wrong);
    run = folder.Tool(wrong, false, false);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("usage: tevrol_config"), std::string::npos);
  }
}

}  // namespace
