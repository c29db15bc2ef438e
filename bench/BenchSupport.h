#ifndef TEVROL_BENCH_BENCHSUPPORT_H
#define TEVROL_BENCH_BENCHSUPPORT_H

#include <benchmark/benchmark.h>

#include <algorithm>
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

#endif
