#include "file/InputStreamBuffer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <thread>

#include "FileTestSupport.h"
#include "file/File.h"

namespace {

using Tevrol::ULong;

// A source that answers from a script: each Read copies the bytes of the
// next answer (as many as fit), reports all of them as read and gives its
// code. Once the script has run out it answers 0 bytes with code 0.
class ScriptedSource : public InputStream {
 public:
  struct Answer {
    ULong code;
    std::string bytes;
    int delayMs;  // how long the answer takes
  };

  explicit ScriptedSource(std::deque<Answer> script) : m_script(std::move(script)) {}

  ULong Read(unsigned char* buffer, ULong length, ULong* bytesRead) override {
    offered.push_back(length);
    Answer answer{kStreamSuccess, "", 0};
    if (!m_script.empty()) {
      answer = m_script.front();
      m_script.pop_front();
    }
    if (answer.delayMs > 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(answer.delayMs));
    }
    answer.bytes.copy(reinterpret_cast<char*>(buffer), length);
    *bytesRead = static_cast<ULong>(answer.bytes.size());
    return answer.code;
  }
  ULong Flush() override {
    ++flushes;
    return 3;
  }
  ULong EnableWait() override { return 0; }
  ULong WaitForData() override { return 0; }
  ULong DisableWait() override { return 0; }
  void Cancel() override {}
  void SetReadTimeout(Tevrol::Long milliseconds) override { timeout = milliseconds; }
  Tevrol::Long GetReadTimeout() override { return timeout; }
  void CancelPending() override { ++cancels; }

  std::vector<ULong> offered;  // the length of every Read asked of the source
  int flushes = 0;
  int cancels = 0;
  Tevrol::Long timeout = -1;

 private:
  std::deque<Answer> m_script;
};

// "code:bytes" of a Read; no bytes where the count was left untouched.
std::string ReadSome(InputStream& stream, ULong length) {
  std::string buffer(length + 1, '\0');
  ULong got = 12345;
  ULong const code = stream.Read(reinterpret_cast<unsigned char*>(&buffer[0]), length, &got);
  buffer.resize(got == 12345 ? 0 : got);
  return std::to_string(code) + ":" + buffer;
}

using InputStreamBufferTest = filetest::TempDirTest;

// Each row: a script of answers, then reads of the given lengths with their
// results (both "code:bytes", separated by blanks), and the lengths the
// source was asked for.
TEST_F(InputStreamBufferTest, ReadsAgainstScriptedSource) {
  struct Row {
    char const* name;
    Tevrol::Long ringSize;
    char const* script;
    std::vector<ULong> lengths;
    char const* results;
    std::vector<ULong> offered;
    Tevrol::Long timeout = 5000;  // generous unless the row runs the script dry
  } const rows[] = {
      {"what the ring holds, without asking again", 8, "0:abc", {100, 1}, "0:abc 2:", {8, 5}, 20},
      {"byte by byte from one refill", 8, "0:abc", {1, 1, 1}, "0:a 0:b 0:c", {8}},
      {"end of data passes through", 8, "7:", {4}, "7:", {8}},
      {"failure passes through, bytes with it dropped", 8, "4:zz 0:q", {4, 4}, "4: 0:q", {8, 8}},
      {"empty answers are asked again at once", 8, "0: 0: 0:x", {4}, "0:x", {8, 8, 8}},
      // A refill stops at the end of the storage: the second stretch is 2 bytes.
      {"claims past the stretch are cut", 8, "0:abcdef 0:ghijkl", {6, 6}, "0:abcdef 0:gh", {8, 2}},
      {"length 0 gives nothing and asks nothing", 8, "0:abc", {0}, "0:", {}},
      {"ring of size 0 fails without asking", 0, "0:abc", {5}, "4:", {}},
      {"negative size is a ring of 0", -5, "0:abc", {5}, "4:", {}},
  };
  for (Row const& row : rows) {
    SCOPED_TRACE(row.name);
    std::deque<ScriptedSource::Answer> script;
    std::istringstream answers(row.script), results(row.results);
    for (std::string word; answers >> word;) {
      script.push_back({ULong(std::stoul(word)), word.substr(word.find(':') + 1), 0});
    }
    ScriptedSource source(script);
    InputStreamBuffer buffer(&source, row.ringSize);
    buffer.SetReadTimeout(row.timeout);
    for (ULong const length : row.lengths) {
      std::string expected;
      results >> expected;
      EXPECT_EQ(ReadSome(buffer, length), expected) << "length " << length;
    }
    // A time-out asks an unknown number of times; compare the first asks.
    ASSERT_GE(source.offered.size(), row.offered.size());
    EXPECT_TRUE(!row.offered.empty() || source.offered.empty()) << "asked the source";
    source.offered.resize(row.offered.size());
    EXPECT_EQ(source.offered, row.offered);
  }
}

TEST_F(InputStreamBufferTest, TimeOutKeepsBytesOfTheLastPass) {
  // The only answer takes longer than the time-out: its bytes wait in the
  // ring for the next Read, which does not ask the source.
  ScriptedSource source({{0, "late", 60}});
  InputStreamBuffer buffer(&source, 16);
  buffer.SetReadTimeout(10);
  EXPECT_EQ(source.timeout, 50);  // the source gets its own fixed time-out
  EXPECT_EQ(buffer.GetReadTimeout(), 10);
  EXPECT_EQ(ReadSome(buffer, 16), "2:");
  EXPECT_EQ(ReadSome(buffer, 16), "0:late");
  EXPECT_EQ(source.offered.size(), 1u);
}

TEST_F(InputStreamBufferTest, FailuresForwardingAndAFile) {
  unsigned char byte = 0;
  ULong got = 0;
  InputStreamBuffer noSource;
  EXPECT_EQ(noSource.Read(&byte, 1, &got), 4u);
  EXPECT_EQ(noSource.Flush(), 0u);

  ScriptedSource source({{0, "abc", 0}, {0, "d", 0}});
  InputStreamBuffer buffer(&source, 8);
  EXPECT_EQ(buffer.Read(nullptr, 1, &got), 4u);
  EXPECT_EQ(buffer.Read(&byte, 1, nullptr), 4u);
  EXPECT_EQ(buffer.EnableWait(), 4u);
  EXPECT_EQ(buffer.WaitForData(), 4u);
  EXPECT_EQ(buffer.DisableWait(), 4u);
  buffer.CancelPending();
  EXPECT_EQ(source.cancels, 1);

  // Flush drops what was read ahead and gives the source's result.
  EXPECT_EQ(ReadSome(buffer, 1), "0:a");
  EXPECT_EQ(buffer.Flush(), 3u);
  EXPECT_EQ(source.flushes, 1);
  EXPECT_EQ(ReadSome(buffer, 1), "0:d");

  // Over a real file, byte by byte, to its end.
  filetest::Write(At("three"), "xy");
  File file(At("three").c_str(), 0, 0, 0, 0x80, false);
  ASSERT_EQ(file.Open(), 0u);
  InputStreamBuffer overFile(file.GetInputStream(), 8192);
  for (char const* expected : {"0:x", "0:y", "7:"}) EXPECT_EQ(ReadSome(overFile, 1), expected);
}

}  // namespace
