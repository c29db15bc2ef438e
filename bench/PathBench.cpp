// Naming: BM_Path_<What>. Path's normal form over one set of generated texts:
// the step-by-step model of the tests (the plain floor), Path itself, the
// TxString conversion that both start with, and GLib's
// g_canonicalize_filename (relative texts taken against "/", so that it
// reads no working directory) as what a user would pick instead. Every run
// goes through all texts once in the same order, so Time is per text.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#ifdef TEVROL_BENCH_HAVE_GLIB
#include <glib.h>
#endif

#include "file/Path.h"
#include "file/PathModel.h"

namespace {

constexpr int kTexts = 1000000;

// Fixed seed; POSIX absolute and relative, "C:\\...", "\\\\srv\\share\\..."
// and "file://host/..." in equal parts, with ".", "..", doubled and trailing
// separators; 45 characters on average.
std::vector<std::string> const& Texts() {
  static const std::vector<std::string> texts = [] {
    static char const* const names[] = {"usr",  "opt",   "device", "config", "navigation",
                                        "data", "x",     "a.cfg",  "log",    "applications",
                                        "tmp",  "f.txt", "ab",     "media",  "usb0"};
    static char const* const starts[] = {"/", "", "C:\\", "\\\\srv\\share\\", "file://host/"};
    std::mt19937 random(20261124);
    std::vector<std::string> result;
    result.reserve(kTexts);
    for (int n = 0; n < kTexts; ++n) {
      const int notation = n % 5;
      char const* sep = notation == 2 || notation == 3 ? "\\" : "/";
      std::string text = starts[notation];
      const std::size_t length = 17 + random() % 51;
      while (text.size() < length) {
        const unsigned pick = random() % 20;
        text += pick == 0 ? "." : pick == 1 ? ".." : names[pick % std::size(names)];
        text += sep;
        if (random() % 10 == 0) text += sep;
      }
      if (random() % 3 != 0) text.pop_back();  // a third keep a trailing separator
      result.push_back(std::move(text));
    }
    return result;
  }();
  return texts;
}

template <typename Build>
void RunOverTexts(benchmark::State& state, Build build) {
  std::vector<std::string> const& texts = Texts();
  std::size_t characters = 0;
  for (std::string const& text : texts) characters += text.size();
  std::size_t i = 0;
  for (auto _ : state) {
    build(texts[i].c_str());
    if (++i == texts.size()) i = 0;
  }
  state.counters["chars_per_text"] = static_cast<double>(characters) / texts.size();
}

void BM_Path_ModelFloor(benchmark::State& state) {
  RunOverTexts(state, [](char const* text) {
    PathModel path{TxString(text)};
    benchmark::DoNotOptimize(path.GetLength());
  });
}
BENCHMARK(BM_Path_ModelFloor)->Iterations(kTexts);

void BM_Path_FromText(benchmark::State& state) {
  RunOverTexts(state, [](char const* text) {
    Tevrol::File::Path path{TxString(text)};
    benchmark::DoNotOptimize(path.GetLength());
  });
}
BENCHMARK(BM_Path_FromText)->Iterations(kTexts);

// What every row of ours pays before any normalisation.
void BM_Path_TextConversionOnly(benchmark::State& state) {
  RunOverTexts(state, [](char const* text) {
    TxString converted(text);
    benchmark::DoNotOptimize(converted.GetLength());
  });
}
BENCHMARK(BM_Path_TextConversionOnly)->Iterations(kTexts);

#ifdef TEVROL_BENCH_HAVE_GLIB
void BM_Path_GLibCanonicalizeFilename(benchmark::State& state) {
  RunOverTexts(state, [](char const* text) {
    gchar* canonical = g_canonicalize_filename(text, "/");
    benchmark::DoNotOptimize(canonical);
    g_free(canonical);
  });
}
BENCHMARK(BM_Path_GLibCanonicalizeFilename)->Iterations(kTexts);
#endif

}  // namespace
