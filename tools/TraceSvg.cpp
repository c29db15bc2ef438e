// tevrol_trace_svg: draws a task trace (LoopMonitor::WriteTrace, or any
// Trace Event JSON file) as a self-contained SVG timeline, one lane per
// thread, so that it can be looked at without a trace viewer, put in a
// document or kept with a bug report.
//
//   tevrol_trace_svg TRACE.json OUT.svg [--long MICROSECONDS]
//
// Exit status: 0 written; 1 the trace cannot be read, is not JSON or not a
// trace, or the picture cannot be written; 2 wrong call.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "TraceJson.h"
#include "TraceTimeline.h"

namespace {

constexpr char kUsage[] =
    "usage: tevrol_trace_svg TRACE.json OUT.svg [--long MICROSECONDS]\n"
    "\n"
    "Draws a Trace Event JSON file, as LoopMonitor::WriteTrace writes it, as an SVG\n"
    "timeline: one lane per thread, named from the trace, complete events as bars\n"
    "placed by their start and duration (nested ones below their parent), instant\n"
    "events as marks, and a time axis.\n"
    "\n"
    "  --long MICROSECONDS  mark bars longer than this in red, with their duration\n"
    "                       (default 50000, 50 ms)\n"
    "  --help               print this text\n"
    "\n"
    "Exit status: 0 written; 1 the trace cannot be read or is malformed, or OUT.svg\n"
    "cannot be written; 2 wrong call.\n";

// Larger files are refused rather than read into memory.
constexpr long kMaxFileBytes = 256L << 20;

int Usage(char const* problem, char const* argument) {
  std::fprintf(stderr, "tevrol_trace_svg: %s%s%s%s\n\n%s", problem, argument ? " \"" : "",
               argument ? argument : "", argument ? "\"" : "", kUsage);
  return 2;
}

bool ReadFile(char const* path, std::string& text, std::string& error) {
  std::FILE* file = std::fopen(path, "rb");
  if (file == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  char buffer[65536];
  bool ok = true;
  for (;;) {
    const std::size_t got = std::fread(buffer, 1, sizeof buffer, file);
    text.append(buffer, got);
    if (text.size() > static_cast<std::size_t>(kMaxFileBytes)) {
      error = "larger than 256 MiB";
      ok = false;
      break;
    }
    if (got < sizeof buffer) {
      if (std::ferror(file)) {
        error = std::strerror(errno);
        ok = false;
      }
      break;
    }
  }
  std::fclose(file);
  return ok;
}

bool WriteFile(char const* path, std::string const& text, std::string& error) {
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (!ok) error = std::strerror(errno);
  if (std::fclose(file) != 0 && ok) {
    error = std::strerror(errno);
    ok = false;
  }
  return ok;
}

// A whole number of microseconds, 0 to 1e15.
bool ParseMicros(char const* text, double& value) {
  if (*text < '0' || *text > '9' || std::strlen(text) > 15) return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long long number = std::strtoull(text, &end, 10);
  if (errno != 0 || *end != '\0') return false;
  value = static_cast<double>(number);
  return true;
}

char const* BaseName(char const* path) {
  char const* const slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

int Run(int argc, char** argv) {
  char const* paths[2] = {nullptr, nullptr};
  int count = 0;
  SvgOptions options;
  for (int i = 1; i < argc; ++i) {
    char const* const argument = argv[i];
    if (std::strcmp(argument, "--help") == 0 || std::strcmp(argument, "-h") == 0) {
      std::fputs(kUsage, stdout);
      return 0;
    }
    char const* value = nullptr;
    if (std::strcmp(argument, "--long") == 0) {
      if (i + 1 == argc) return Usage("--long needs a number of microseconds", nullptr);
      value = argv[++i];
    } else if (std::strncmp(argument, "--long=", 7) == 0) {
      value = argument + 7;
    }
    if (value != nullptr) {
      if (!ParseMicros(value, options.longMicros)) {
        return Usage("--long needs a whole number of microseconds, not", value);
      }
    } else if (argument[0] == '-' && argument[1] != '\0') {
      return Usage("unknown option", argument);
    } else if (count == 2) {
      return Usage("unexpected argument", argument);
    } else {
      paths[count++] = argument;
    }
  }
  if (count < 2) return Usage(count == 0 ? "no trace file given" : "no output file given", nullptr);

  std::string text, error;
  if (!ReadFile(paths[0], text, error)) {
    std::fprintf(stderr, "tevrol_trace_svg: cannot read %s: %s\n", paths[0], error.c_str());
    return 1;
  }
  JsonDocument document;
  if (!document.Parse(text, JsonLimits(), error)) {
    std::fprintf(stderr, "tevrol_trace_svg: %s is not JSON: %s\n", paths[0], error.c_str());
    return 1;
  }
  text = std::string();
  Timeline timeline;
  if (!ReadTimeline(document, timeline, error)) {
    std::fprintf(stderr, "tevrol_trace_svg: %s is not a trace: %s\n", paths[0], error.c_str());
    return 1;
  }
  options.title = BaseName(paths[0]);
  if (!WriteFile(paths[1], WriteSvg(timeline, options), error)) {
    std::fprintf(stderr, "tevrol_trace_svg: cannot write %s: %s\n", paths[1], error.c_str());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (std::bad_alloc const&) {
    std::fputs("tevrol_trace_svg: out of memory\n", stderr);
    return 1;
  }
}
