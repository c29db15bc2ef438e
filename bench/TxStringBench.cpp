// Naming: BM_<Class>_<What>; std::u16string is the floor.
#include <benchmark/benchmark.h>

#include <string>

#include "frame/text/TxString.h"

static char const kPath[] = "/opt/device/config/applications/navigation/config.ini";

static void BM_TxString_FromBytesToAscii(benchmark::State& state) {
  for (auto _ : state) {
    TxString text(kPath);
    TxByteArray bytes = text.ToAscii();
    benchmark::DoNotOptimize(bytes.GetConstData());
  }
}
BENCHMARK(BM_TxString_FromBytesToAscii);

static void BM_TxString_Copy(benchmark::State& state) {
  const TxString text(kPath);
  for (auto _ : state) {
    TxString copy(text);
    benchmark::DoNotOptimize(copy.GetLength());
  }
}
BENCHMARK(BM_TxString_Copy)->ThreadRange(1, 2)->UseRealTime();

static void BM_StdU16String_Copy(benchmark::State& state) {
  const std::u16string text(std::begin(kPath), std::end(kPath) - 1);
  for (auto _ : state) {
    std::u16string copy(text);
    benchmark::DoNotOptimize(copy.size());
  }
}
BENCHMARK(BM_StdU16String_Copy)->ThreadRange(1, 2)->UseRealTime();
