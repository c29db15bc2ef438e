#include "threads/TevrolCfgFileReaderImpl.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "threads/Runnable.h"
#include "threads/Thread.h"

namespace {

namespace fs = std::filesystem;

char const kReportVariable[] = "TEVROL_PRIORITY_REPORT";  // set: this process is the child
char const kSelf[] = "ThreadPriorityFileTest.FileBesideTheExecutableReplacesEveryThreadsTable";
const int kStarts[][2] = {{7, 3}, {0, 0}, {5, 1}, {2, 2}};  // Priority, PriorityType

struct Idle : Runnable {
  void WorkingLoop(Thread* thread) override { thread->Sleep(60000); }
};

// The child's part: the OS priority that started threads ask for, after the
// table that the first Thread brought in.
void WriteReport(char const* path) {
  Idle idle;
  std::string asked;
  for (auto const& start : kStarts) {
    Thread thread(&idle);
    thread.SetPriority(static_cast<ThreadPriorities::Priority>(start[0]),
                       static_cast<ThreadPriorities::PriorityType>(start[1]));
    thread.Start();
    thread.Stop();
    asked += std::to_string(thread.GetPlatformThread().GetRequestedPriorityForTesting()) + ' ';
  }
  std::ofstream out(path);
  for (auto const& row : Thread::g_threadPriorityTable) {
    for (int column = 0; column < 8; ++column) out << row[column] << (column < 7 ? ',' : '\n');
  }
  out << asked;
}

// What the child must report for a table written as in the file.
std::string Expected(std::string const& table) {
  std::string numbers = table;
  for (char& c : numbers) c = c == ',' ? ' ' : c;
  std::istringstream in(numbers);
  std::vector<long> values(32);
  for (long& value : values) in >> value;
  std::string asked;
  for (auto const& start : kStarts) asked += std::to_string(values[start[1] * 8 + start[0]]) + ' ';
  return table + asked;
}

// Runs the copy of this program, through $TEST_EMULATOR where one is set
// (under qemu no program can exec another ARM program), and returns its report.
std::string RunChild(fs::path const& program, fs::path const& report) {
  std::vector<std::string> args;
  std::istringstream emulator(std::getenv("TEST_EMULATOR") != nullptr ? std::getenv("TEST_EMULATOR")
                                                                      : "");
  for (std::string word; emulator >> word;) args.push_back(word);
  args.push_back(program.string());
  args.push_back(std::string("--gtest_filter=") + kSelf);
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  setenv(kReportVariable, report.c_str(), 1);
  const pid_t pid = fork();
  if (pid == 0) {
    execvp(argv[0], argv.data());
    _exit(127);
  }
  unsetenv(kReportVariable);
  int status = -1;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  std::ifstream in(report);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string Values(int k) {
  std::string values;
  for (int column = 0; column < 8; ++column)
    values += std::to_string(10 * k + column) + (column < 7 ? "," : "\n");
  return values;
}
std::string Row(int k) {
  return "row" + std::to_string(k) + ":" + Values(k);
}

TEST(ThreadPriorityFileTest, FileBesideTheExecutableReplacesEveryThreadsTable) {
  if (char const* report = std::getenv(kReportVariable)) return WriteReport(report);
  // A private folder and a link to (or copy of) this program, so that no
  // other test, nor a parallel run, sees the file.
  char folder[] = "/tmp/tevrol-priority-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const fs::path dir(folder), program = dir / "threads_tests",
                              file = dir / "ThreadPriorityMapper.cfg";
  std::error_code error;
  fs::create_hard_link(fs::read_symlink("/proc/self/exe"), program, error);
  if (error) fs::copy_file(fs::read_symlink("/proc/self/exe"), program, error);
  ASSERT_FALSE(error) << error.message();

  const std::string header = "[THREAD_PRIO]\n", rows = Row(1) + Row(2) + Row(3) + Row(4);
  const std::string table = Values(1) + Values(2) + Values(3) + Values(4),
                    last3 = Row(2) + Row(3) + Row(4);
  const std::string flat = "13,13,13,13,13,13,13,13\n";
  const std::string builtIn = flat + flat + flat + "13,12,11,10,9,8,7,6\n";
  const struct {
    char const* name;
    std::string file;  // empty: no file
    std::string table;
  } cases[] = {
      {"four good rows", header + rows, table},
      {"rows before the header count for nothing",
       Row(5) + Row(6) + Row(7) + Row(8) + header + rows, table},
      {"no header", rows + "[THREAD_PRIO ]\n", builtIn},
      {"a commented header is no header", "x //[THREAD_PRIO]\n" + rows, builtIn},
      {"a line with // is dropped whole",
       header + Row(1) + "r:1,2,3,4,5,6,7,8 // fast\n//\n" + last3, table},
      {"7 values are skipped, 9 give the first 8",
       header + "a:1,2,3,4,5,6,7\nb:10,11,12,13,14,15,16,17,99\n" + last3, table},
      {"a second ':' hides the list, empty values are 0",
       header + "a:b:1,2,3,4,5,6,7,8\n\n[X]\nr:10,,12,13,14,15,16,\n" + last3,
       "10,0,12,13,14,15,16,0\n" + Values(2) + Values(3) + Values(4)},
      {"keys mean nothing, values are read as atoi does",
       header + "k: 5,+6,-7,x,8x,  9,99999999999,-99999999999\nk:" + Values(2) + "k:" + Values(3) +
           "k:" + Values(4),
       "5,6,-7,0,8,9,2147483647,-2147483648\n" + Values(2) + Values(3) + Values(4)},
      {"a fifth row is never read", header + rows + Row(5), table},
      {"a line of 512 bytes or more arrives in pieces",
       header + "p:" + Values(1).substr(0, 23) + std::string(600, ' ') + last3, table},
      {"fewer than four good rows", header + Row(1) + Row(2) + Row(3) + "bad\n", builtIn},
      {"missing file", "", builtIn},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(file);
    if (!c.file.empty()) std::ofstream(file) << c.file;
    EXPECT_EQ(RunChild(program, dir / "report"), Expected(c.table));
  }
  fs::remove_all(dir);
}

TEST(ThreadPriorityFileTest, NoRowBeyondTheFourth) {
  TevrolCfgFileReaderImpl reader;
  char line[] = "k:1,2,3,4,5,6,7,8";
  EXPECT_TRUE(reader.parseLine(line, 3));
  EXPECT_FALSE(reader.parseLine(line, 4));
}

}  // namespace
