// Byte-wise reading of a 64 MiB file: through InputStreamBuffer (8192-byte
// ring) over a File, against getc on a FILE* while a second thread exists
// (glibc's getc locks then, as it does in a program that uses the library's
// threads), and getc_unlocked as the floor. Figures: bytes_per_second.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "file/File.h"
#include "file/InputStreamBuffer.h"

namespace {

constexpr std::size_t kFileBytes = 64u * 1024 * 1024;
constexpr Tevrol::Long kRingBytes = 8192;

// Made once for the whole run, removed at exit.
std::string const& DataFile() {
  struct Made {
    std::string name = "/tmp/tevrol-isb-bench.bin";
    Made() {
      std::FILE* const out = std::fopen(name.c_str(), "wb");
      if (out == nullptr) return;
      std::vector<char> chunk(1 << 20);
      for (std::size_t i = 0; i < chunk.size(); ++i) chunk[i] = static_cast<char>(i * 131);
      for (std::size_t done = 0; done < kFileBytes; done += chunk.size()) {
        std::fwrite(chunk.data(), 1, chunk.size(), out);
      }
      std::fclose(out);
    }
    ~Made() { std::remove(name.c_str()); }
  };
  static Made const s_made;
  return s_made.name;
}

// A thread that sleeps until the benchmark ends.
class SleepingThread {
 public:
  SleepingThread()
      : m_thread([this] {
          std::unique_lock<std::mutex> lock(m_mutex);
          m_wake.wait(lock, [this] { return m_stop; });
        }) {}
  ~SleepingThread() {
    {
      std::lock_guard<std::mutex> const lock(m_mutex);
      m_stop = true;
    }
    m_wake.notify_one();
    m_thread.join();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_stop = false;
  std::thread m_thread;
};

void BM_InputStreamBuffer_ReadByteFromFile(benchmark::State& state) {
  std::string const& name = DataFile();
  SleepingThread const other;
  unsigned long sum = 0;
  for (auto _ : state) {
    File file(name.c_str(), O_RDONLY, 0, 0, 0, false);
    if (file.Open() != 0) {
      state.SkipWithError("cannot open the data file");
      return;
    }
    InputStreamBuffer buffer(file.GetInputStream(), kRingBytes);
    unsigned char byte = 0;
    Tevrol::ULong got = 0;
    while (buffer.Read(&byte, 1, &got) == 0) sum += byte;
  }
  benchmark::DoNotOptimize(sum);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kFileBytes));
}
BENCHMARK(BM_InputStreamBuffer_ReadByteFromFile)->Unit(benchmark::kMillisecond);

template <bool kUnlocked>
void GetcLoop(benchmark::State& state) {
  std::string const& name = DataFile();
  SleepingThread const other;
  unsigned long sum = 0;
  for (auto _ : state) {
    std::FILE* const in = std::fopen(name.c_str(), "rb");
    if (in == nullptr) {
      state.SkipWithError("cannot open the data file");
      return;
    }
    for (int c = 0; (c = kUnlocked ? getc_unlocked(in) : std::getc(in)) != EOF;) sum += c;
    std::fclose(in);
  }
  benchmark::DoNotOptimize(sum);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kFileBytes));
}

void BM_InputStreamBuffer_GetcWithThread(benchmark::State& state) {
  GetcLoop<false>(state);
}
BENCHMARK(BM_InputStreamBuffer_GetcWithThread)->Unit(benchmark::kMillisecond);

void BM_InputStreamBuffer_GetcUnlockedFloor(benchmark::State& state) {
  GetcLoop<true>(state);
}
BENCHMARK(BM_InputStreamBuffer_GetcUnlockedFloor)->Unit(benchmark::kMillisecond);

}  // namespace
