#ifndef TEVROL_BENCH_BENCHSUPPORT_H
#define TEVROL_BENCH_BENCHSUPPORT_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

// Reports the median and the 99th percentile of `samples` as counters
// "p50_<unit>" and "p99_<unit>".
inline void ReportPercentiles(benchmark::State& state, std::vector<double> samples,
                              std::string const& unit) {
  if (samples.empty()) return;
  std::sort(samples.begin(), samples.end());
  state.counters["p50_" + unit] = samples[samples.size() / 2];
  state.counters["p99_" + unit] = samples[samples.size() * 99 / 100];
}

// The listing folder of the file benchmarks: kListingEntries empty files
// "entry-NNNNN.<ext>" in `dir`, of which a quarter match "*.LOG" without
// regard to case (".log" and ".LOG" alternating); the others end in ".txt",
// ".dat" and ".logs".
constexpr int kListingEntries = 10000;
constexpr int kListingMatches = kListingEntries / 4;

inline void FillListingFolder(std::string const& dir) {
  static char const* const kExtensions[] = {"log", "txt", "dat", "logs",
                                            "LOG", "txt", "dat", "logs"};
  for (int i = 0; i < kListingEntries; ++i) {
    char leaf[32];
    std::snprintf(leaf, sizeof leaf, "/entry-%05d.%s", i, kExtensions[i % 8]);
    if (std::FILE* file = std::fopen((dir + leaf).c_str(), "w")) std::fclose(file);
  }
}

#endif
