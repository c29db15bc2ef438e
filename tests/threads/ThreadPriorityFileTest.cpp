#include "threads/TevrolCfgFileReaderImpl.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "threads/Runnable.h"
#include "threads/Thread.h"

namespace {

namespace fs = std::filesystem;

struct Idle : Runnable {
  void WorkingLoop(Thread* thread) override { thread->Sleep(60000); }
};

// The child's part: the table that the first Thread brought in, as the file
// writes it, each entry being the priority that a started thread asked for
// ("asked" marks one that differs from g_threadPriorityTable).
void WriteReport(char const* path) {
  Idle idle;
  std::ofstream out(path);
  for (int i = 0; i < 32; ++i) {
    Thread thread(&idle);
    thread.SetPriority(ThreadPriorities::Priority(i % 8), ThreadPriorities::PriorityType(i / 8));
    thread.Start();
    thread.Stop();
    const int asked = thread.GetPlatformThread().GetRequestedPriorityForTesting();
    out << (asked == Thread::g_threadPriorityTable[i / 8][i % 8] ? "" : "asked ") << asked
        << (i % 8 < 7 ? ',' : '\n');
  }
}

// "k:" and the values 10k .. 10k+7, or the values alone.
std::string Row(int k, std::string row = "k:") {
  for (int column = 0; column < 8; ++column)
    row += std::to_string(10 * k + column) + (column < 7 ? "," : "\n");
  return row;
}

TEST(ThreadPriorityFileTest, FileBesideTheExecutableReplacesEveryThreadsTable) {
  if (char const* report = std::getenv("TEVROL_PRIORITY_REPORT")) return WriteReport(report);
  // A private folder with a link to (or copy of) this program, so that no
  // other test, nor a parallel run, sees the file.
  char folder[] = "/tmp/tevrol-priority-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const fs::path dir(folder), program = dir / "threads_tests",
                              file = dir / "ThreadPriorityMapper.cfg";
  std::error_code error;
  fs::create_hard_link(fs::read_symlink("/proc/self/exe"), program, error);
  if (error) fs::copy_file(fs::read_symlink("/proc/self/exe"), program, error);
  ASSERT_FALSE(error) << error.message();
  // Under qemu no program can exec another ARM program: the child runs through the emulator.
  const std::string child =
      "TEVROL_PRIORITY_REPORT=" + (dir / "report").string() + " $TEST_EMULATOR " +
      program.string() +
      " --gtest_filter=ThreadPriorityFileTest.FileBesideTheExecutableReplacesEveryThreadsTable";

  const std::string head = "[THREAD_PRIO]\n", rows = Row(1) + Row(2) + Row(3) + Row(4),
                    last3 = rows.substr(26);
  const std::string table = Row(1, "") + Row(2, "") + Row(3, "") + Row(4, ""),
                    flat = "13,13,13,13,13,13,13,13\n";
  const std::string builtIn = flat + flat + flat + "13,12,11,10,9,8,7,6\n";
  const std::string cases[][2] = {
      // file ("" for none), table
      {head + rows, table},
      // Rows before the header count for nothing.
      {"rows:1,2,3,4,5,6,7,8\n" + rows + head + rows, table},
      // No header, or only a commented one: the built-in table.
      {rows + "[THREAD_PRIO ]\n", builtIn},
      {"x //[THREAD_PRIO]\n" + rows, builtIn},
      // A line with "//" is dropped whole.
      {head + "k:1,2,3,4,5,6,7,8 // fast\n//\n" + rows, table},
      // 7 values are skipped, 9 give the first 8.
      {head + "k:1,2,3,4,5,6,7\nk:10,11,12,13,14,15,16,17,99\n" + last3, table},
      // A second ':' hides the list; blank and bracketed lines are skipped; empty values are 0.
      {head + "a:b:1,2,3,4,5,6,7,8\n\n[X]\nk:10,,12,13,14,15,16,\n" + last3,
       "10,0,12,13,14,15,16,0\n" + table.substr(24)},
      // Values as atoi reads them, but saturated at 32 bits.
      {head + "k: 5,+6,-7,x,8x,  9,99999999999,-99999999999\n" + last3,
       "5,6,-7,0,8,9,2147483647,-2147483648\n" + table.substr(24)},
      // A fifth row is never read.
      {head + rows + Row(5), table},
      // A line of 512 bytes or more arrives in pieces of 511, each a line.
      {head + Row(1).substr(0, 25) + std::string(600, ' ') + last3, table},
      // Fewer than four good rows, or no file: the built-in table.
      {head + Row(1) + Row(2) + Row(3) + "bad\n", builtIn},
      {"", builtIn},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c[0]);
    fs::remove(file);
    if (!c[0].empty()) std::ofstream(file) << c[0];
    ASSERT_EQ(std::system(child.c_str()), 0) << child;
    std::stringstream report;
    report << std::ifstream(dir / "report").rdbuf();
    EXPECT_EQ(report.str(), c[1]);
  }
  fs::remove_all(dir);
}

}  // namespace
