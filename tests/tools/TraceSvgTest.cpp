// The trace picture tool: its JSON reader, the timeline it reads, the SVG it
// writes, and the program as a user runs it.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "TraceJson.h"
#include "TraceTimeline.h"

namespace fs = std::filesystem;

namespace {

bool Parses(std::string const& text, JsonLimits const& limits = JsonLimits()) {
  JsonDocument document;
  std::string error;
  const bool ok = document.Parse(text, limits, error);
  EXPECT_EQ(ok, error.empty()) << text;
  if (!ok) {
    EXPECT_EQ(error.rfind("line ", 0), 0u) << error;
  }
  return ok;
}

TEST(TraceJsonTest, RefusesEverythingThatIsNotStrictJson) {
  char const* const broken[] = {
      "",
      " ",
      "[1,]",
      "{\"a\":1,}",
      "[1 2]",
      "{\"a\" 1}",
      "{a:1}",
      "01",
      "-",
      "1.",
      ".5",
      "1e",
      "+1",
      "NaN",
      "tru",
      "nulls",
      "[1] x",
      "\"open",
      "\"bad \\x escape\"",
      "\"\\u12\"",
      "\"tab\there\"",
      "\"\\ud800\"",           // a lone high surrogate
      "\"\\udc00\"",           // a lone low surrogate
      "\"\\ud800\\u0041\"",    // a high surrogate before a plain character
      "\"\xC3\"",              // a cut two-byte character
      "\"\xC0\xAF\"",          // an overlong '/'
      "\"\xED\xA0\x80\"",      // an encoded surrogate
      "\"\xF4\x90\x80\x80\"",  // above U+10FFFF
      "\"\xFF\"",
      "\xEF\xBB\xBF{}",  // a byte order mark
      "{\"a\":1,\"b\":2,\"a\":3}",
      "{\"a\":1,\"\\u0061\":2}",  // the same name, once escaped
      "1e400",
  };
  for (char const* text : broken) EXPECT_FALSE(Parses(text)) << text;
  EXPECT_FALSE(Parses(std::string("[1]\0", 4)));
  EXPECT_FALSE(Parses(std::string("\"a\0b\"", 5)));
}

TEST(TraceJsonTest, LimitsHoldExactlyAtTheirBounds) {
  JsonLimits limits;
  limits.maxDepth = 64;
  EXPECT_TRUE(Parses(std::string(64, '[') + std::string(64, ']'), limits));
  EXPECT_FALSE(Parses(std::string(65, '[') + std::string(65, ']'), limits));
  EXPECT_FALSE(Parses(std::string(100000, '['), limits));  // no deep recursion
  limits.maxValues = 4;
  EXPECT_TRUE(Parses("[1,[2],3]", JsonLimits{64, 5}));
  EXPECT_FALSE(Parses("[1,[2],3]", limits));
  const std::string digits64 = "1" + std::string(63, '0');
  EXPECT_TRUE(Parses(digits64));
  EXPECT_FALSE(Parses(digits64 + "0"));
}

TEST(TraceJsonTest, DecodesEscapesNumbersAndStructure) {
  JsonDocument document;
  std::string error;
  ASSERT_TRUE(document.Parse(
      " {\"s\": \"a\\u00e9\\ud83d\\ude00\\n\\/\\\"\xC3\xA9\", \"n\": [-0.5e2, 0, 1E+2, 12.25],"
      " \"z\": \"\\u0000\", \"t\": true, \"f\": false, \"nil\": null, \"e\": {}} ",
      JsonLimits(), error))
      << error;
  const auto root = JsonDocument::kRoot;
  EXPECT_EQ(document.Text(document.Member(root, "s")), "a\xC3\xA9\xF0\x9F\x98\x80\n/\"\xC3\xA9");
  EXPECT_EQ(document.Text(document.Member(root, "z")), std::string(1, '\0'));
  auto item = document.First(document.Member(root, "n"));
  for (double expected : {-50.0, 0.0, 100.0, 12.25}) {
    ASSERT_NE(item, JsonDocument::kNone);
    EXPECT_EQ(document.Number(item), expected);
    item = document.Next(item);
  }
  EXPECT_EQ(item, JsonDocument::kNone);
  EXPECT_TRUE(document.Is(document.Member(root, "t"), JsonType::True));
  EXPECT_TRUE(document.Is(document.Member(root, "f"), JsonType::False));
  EXPECT_TRUE(document.Is(document.Member(root, "nil"), JsonType::Null));
  EXPECT_EQ(document.First(document.Member(root, "e")), JsonDocument::kNone);
  EXPECT_EQ(document.Member(root, "missing"), JsonDocument::kNone);
  // Members keep their order and names.
  std::string names;
  for (auto m = document.First(root); m != JsonDocument::kNone; m = document.Next(m)) {
    names += std::string(document.Key(m)) + ",";
  }
  EXPECT_EQ(names, "s,n,z,t,f,nil,e,");
  // An error says where.
  EXPECT_FALSE(document.Parse("[1,\n  2,\n  ]", JsonLimits(), error));
  EXPECT_EQ(error, "line 3, column 3: expected a value");
}

std::size_t Count(std::string const& text, std::string const& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

Timeline Read(std::string const& events) {
  JsonDocument document;
  std::string error;
  Timeline timeline;
  EXPECT_TRUE(document.Parse("{\"traceEvents\":[" + events + "]}", JsonLimits(), error)) << error;
  EXPECT_TRUE(ReadTimeline(document, timeline, error)) << error;
  return timeline;
}

std::string ReadError(std::string const& text) {
  JsonDocument document;
  std::string error;
  Timeline timeline;
  EXPECT_TRUE(document.Parse(text, JsonLimits(), error)) << error;
  EXPECT_FALSE(ReadTimeline(document, timeline, error));
  return error;
}

std::string Slice(char const* name, char const* category, int tid, int ts, int dur) {
  std::ostringstream out;
  out << "{\"name\":\"" << name << "\",\"cat\":\"" << category << "\",\"ph\":\"X\",\"dur\":" << dur
      << ",\"pid\":1,\"tid\":" << tid << ",\"ts\":" << ts << "}";
  return out.str();
}

TEST(TraceTimelineTest, NestsSlicesAndNamesLanes) {
  // As the monitor writes them: a Tick ends before its Execute, both before
  // the Dispose; a hand-over inside the Tick; lanes in no particular order.
  const Timeline timeline = Read(
      "{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":7,\"args\":{\"name\":\"timer\"}}," +
      Slice("Tick", "Tick", 7, 1010, 500) + "," + Slice("job", "hand-over", 7, 1200, 0) + "," +
      Slice("TimerCtrl", "Execute", 7, 1000, 600) + "," +
      Slice("TimerCtrl", "Dispose", 7, 1600, 5) + "," + Slice("job", "Execute", 3, 1300, 40) +
      ",{\"name\":\"shutdown\",\"ph\":\"i\",\"s\":\"t\",\"pid\":1,\"tid\":3,\"ts\":2000}," +
      "{\"name\":\"queue x\",\"ph\":\"C\",\"pid\":1,\"ts\":1000,\"args\":{\"queued\":1}}");
  ASSERT_EQ(timeline.lanes.size(), 2u);
  EXPECT_EQ(timeline.lanes[0].name, "thread 3");
  EXPECT_EQ(timeline.lanes[0].marks.size(), 1u);
  TraceLane const& timer = timeline.lanes[1];
  EXPECT_EQ(timer.name, "timer");
  ASSERT_EQ(timer.slices.size(), 4u);
  EXPECT_EQ(timer.rows, 3);
  for (TraceSlice const& slice : timer.slices) {
    const int expected = slice.category == "Tick" ? 1 : slice.category == "hand-over" ? 2 : 0;
    EXPECT_EQ(slice.depth, expected) << slice.category;
  }
  EXPECT_EQ(timeline.begin, 1000);
  EXPECT_EQ(timeline.end, 2000);
  EXPECT_EQ(timeline.slices, 5u);
  EXPECT_EQ(timeline.notDrawn, 1u);

  // A Dispose of no length in the microsecond the next Execute starts is no
  // part of it.
  const Timeline adjacent =
      Read(Slice("a", "Execute", 1, 10, 5) + "," + Slice("b", "Execute", 1, 15, 5) + "," +
           Slice("a", "Dispose", 1, 15, 0));
  EXPECT_EQ(adjacent.lanes[0].rows, 1);

  // Deeper than the picture shows: drawn in the last row.
  std::string deep;
  for (int i = 0; i < kMaxRows + 5; ++i) {
    deep += (i ? "," : "") + Slice("d", "Execute", 1, i, 1000 - i);
  }
  const Timeline stacked = Read(deep);
  EXPECT_EQ(stacked.lanes[0].rows, kMaxRows);
  EXPECT_EQ(stacked.lanes[0].slices.back().depth, kMaxRows - 1);
}

TEST(TraceTimelineTest, NamesTheEventThatIsNotATrace) {
  EXPECT_EQ(ReadError("{\"events\":[]}"), "neither a \"traceEvents\" array nor an array of events");
  EXPECT_EQ(ReadError("[{\"ph\":\"X\",\"name\":\"a\",\"ts\":1,\"dur\":1}, 5]"),
            "event 1: not an object");
  EXPECT_EQ(ReadError("[{\"ph\":\"X\",\"name\":\"a\",\"ts\":1}]").rfind("event 0: \"dur\"", 0), 0u);
  EXPECT_EQ(ReadError("[{\"ph\":\"X\",\"name\":\"a\",\"ts\":\"1\",\"dur\":1}]")
                .rfind("event 0: \"ts\"", 0),
            0u);
  EXPECT_NE(ReadError("[{\"ph\":\"X\",\"name\":\"a\",\"ts\":1,\"dur\":-1}]").find("\"dur\""),
            std::string::npos);
  EXPECT_NE(ReadError("[{\"ph\":\"X\",\"name\":\"a\",\"ts\":1e16,\"dur\":1}]").find("\"ts\""),
            std::string::npos);
  EXPECT_NE(ReadError("[{\"ph\":\"i\",\"name\":\"a\",\"ts\":1,\"tid\":1.5}]").find("\"tid\""),
            std::string::npos);
  EXPECT_NE(ReadError("[{\"ph\":\"X\",\"ts\":1,\"dur\":1}]").find("no \"name\""),
            std::string::npos);
  EXPECT_NE(ReadError("[{\"ph\":\"M\",\"name\":\"thread_name\",\"args\":{\"name\":1}}]")
                .find("thread_name"),
            std::string::npos);
  EXPECT_NE(ReadError("[{\"name\":\"a\"}]").find("\"ph\""), std::string::npos);
}

TEST(TraceSvgTest, MarksLongBarsWithTheirDuration) {
  const Timeline timeline = Read(Slice("slow", "Execute", 1, 0, 300000) + "," +
                                 Slice("quick", "Execute", 1, 300000, 20000) + "," +
                                 Slice("edge", "Execute", 1, 320000, 50000));
  SvgOptions options;
  options.title = "t";
  const std::string svg = WriteSvg(timeline, options);
  EXPECT_NE(svg.find(">slow 300.0 ms</text>"), std::string::npos);
  EXPECT_EQ(svg.find(">quick 20.0 ms</text>"), std::string::npos);
  // Exactly at the threshold is not longer than it.
  EXPECT_EQ(svg.find(">edge 50.0 ms</text>"), std::string::npos);
  EXPECT_EQ(Count(svg, "class=\"Long\""), 2u);  // the legend's and slow's
  options.longMicros = 10000;
  const std::string lower = WriteSvg(timeline, options);
  EXPECT_NE(lower.find(">quick 20.0 ms</text>"), std::string::npos);
  EXPECT_NE(lower.find(">edge 50.0 ms</text>"), std::string::npos);
}

TEST(TraceSvgTest, EscapesEveryTextOfTheTrace) {
  // Names from the trace reach element text and attributes, never markup.
  const std::string hostile = "<b a='1'>&amp;\\\"x\\u0001\\u0000\\ufffe\\n</b>";
  const Timeline timeline =
      Read("{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":1,\"args\":{\"name\":\"" +
           hostile + "\"}}," + Slice(hostile.c_str(), "</style><script>", 1, 0, 100000));
  SvgOptions options;
  options.title = "bad \xFF<title>";
  const std::string svg = WriteSvg(timeline, options);
  EXPECT_EQ(svg.find("<b"), std::string::npos);
  EXPECT_EQ(svg.find("<script"), std::string::npos);
  EXPECT_NE(svg.find("&lt;b a=&apos;1&apos;&gt;&amp;amp;&quot;x\xEF\xBF\xBD\xEF\xBF\xBD"
                     "\xEF\xBF\xBD &lt;/b&gt;"),
            std::string::npos);
  EXPECT_NE(svg.find("bad \xEF\xBF\xBD&lt;title&gt;"), std::string::npos);
  // An unknown category picks the neutral colour rather than a class of its own.
  EXPECT_EQ(svg.find("class=\"&lt;"), std::string::npos);
  EXPECT_EQ(svg.find('\0'), std::string::npos);
}

TEST(TraceSvgTest, CutsTextAtACharacterNotInsideOne) {
  EXPECT_EQ(XmlText("\xC3\xA9\xC3\xA9\xC3\xA9", 2), "\xC3\xA9\xC3\xA9...");
  EXPECT_EQ(XmlText("a&b", 2), "a&amp;...");
  EXPECT_EQ(XmlText("\xF0\x9F\x98\x80", 1), "\xF0\x9F\x98\x80");
  EXPECT_EQ(XmlText("\xE2\x82", 5), "\xEF\xBF\xBD\xEF\xBF\xBD");  // cut: one U+FFFD a byte
}

// The program, run in a folder of its own.
class TraceSvgProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/tevrol-trace-svg-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    m_root = name;
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
  }
  fs::path Path(char const* name) const { return m_root / name; }
  void Write(char const* name, std::string const& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }
  std::string Read(char const* name) const {
    std::ifstream in(Path(name), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  // The exit status; standard error in m_err.
  int Run(std::string const& arguments) {
    std::string command = "cd " + m_root.string() + " && ";
    // Under qemu a program cannot exec another ARM program directly.
    if (char const* emulator = std::getenv("TEST_EMULATOR")) command += std::string(emulator) + " ";
    command += std::string(TEVROL_TRACE_SVG_TOOL) + " " + arguments + " >out 2>err";
    const int raw = std::system(command.c_str());
    m_err = Read("err");
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }

  fs::path m_root;
  std::string m_err;
};

TEST_F(TraceSvgProgram, ExitStatusTellsWhatWentWrong) {
  Write("good.json", "{\"traceEvents\":[" + Slice("slow", "Execute", 1, 0, 150) + "]}");
  Write("broken.json", "{\"traceEvents\":[\n{\"ph\":\"X\",}]}");
  Write("other.json", "{\"displayTimeUnit\":\"ms\"}");

  EXPECT_EQ(Run("--help"), 0);
  EXPECT_NE(Read("out").find("usage: tevrol_trace_svg"), std::string::npos);
  EXPECT_EQ(Run(""), 2);
  EXPECT_EQ(Run("good.json"), 2);
  EXPECT_EQ(Run("good.json a.svg b.svg"), 2);
  EXPECT_EQ(Run("--wide good.json a.svg"), 2);
  EXPECT_EQ(Run("good.json a.svg --long"), 2);
  EXPECT_EQ(Run("good.json a.svg --long 5ms"), 2);
  EXPECT_EQ(Run("good.json a.svg --long -5"), 2);
  EXPECT_FALSE(fs::exists(Path("a.svg")));

  EXPECT_EQ(Run("missing.json a.svg"), 1);
  EXPECT_NE(m_err.find("cannot read missing.json"), std::string::npos) << m_err;
  EXPECT_EQ(Run(". a.svg"), 1);  // a folder
  EXPECT_EQ(Run("broken.json a.svg"), 1);
  EXPECT_NE(m_err.find("line 2, column 11"), std::string::npos) << m_err;
  EXPECT_EQ(Run("other.json a.svg"), 1);
  EXPECT_NE(m_err.find("not a trace"), std::string::npos) << m_err;
  EXPECT_EQ(Run("good.json no-such-folder/a.svg"), 1);
  EXPECT_NE(m_err.find("cannot write"), std::string::npos) << m_err;
  EXPECT_FALSE(fs::exists(Path("a.svg")));

  EXPECT_EQ(Run("good.json a.svg"), 0) << m_err;
  EXPECT_EQ(m_err, "");
  std::string svg = Read("a.svg");
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  EXPECT_EQ(svg.find(">slow 150 \xC2\xB5s</text>"), std::string::npos);
  EXPECT_EQ(Run("--long=100 good.json a.svg"), 0) << m_err;
  svg = Read("a.svg");
  EXPECT_NE(svg.find(">slow 150 \xC2\xB5s</text>"), std::string::npos);
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
}

}  // namespace
