// CopyFileEntry of one 256 MiB file (written once, not sparse, removed at
// exit) beside cp and beside a plain open/read/write loop with the same
// 512-byte rounds the copy makes. Two iterations each (about 15 s in all),
// timed by the wall clock since cp runs in a child; the destination is
// removed outside the timed part.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "file/FileOperations.h"

extern char** environ;

namespace {

constexpr std::size_t kFileBytes = 256U << 20;

class CopySource {
 public:
  CopySource() {
    char name[] = "/tmp/copyfile-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) return;
    m_dir = name;
    int const fd = open(Source().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) return;
    std::vector<char> block(1U << 20);
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 131 + 7);
    for (std::size_t done = 0; done < kFileBytes; done += block.size()) {
      if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) break;
    }
    fsync(fd);  // so that writing it back does not fall into the first timed copy
    close(fd);
  }
  ~CopySource() {
    if (m_dir.empty()) return;
    std::remove(Source().c_str());
    std::remove(Destination().c_str());
    rmdir(m_dir.c_str());
  }
  std::string Source() const { return m_dir + "/source"; }
  std::string Destination() const { return m_dir + "/destination"; }

 private:
  std::string m_dir;
};

CopySource const& Files() {
  static CopySource const files;
  return files;
}

template <typename Copy>
void RunCopies(benchmark::State& state, Copy copy) {
  std::string const destination = Files().Destination();
  for (auto _ : state) {
    if (!copy()) state.SkipWithError("copy failed");
    state.PauseTiming();
    std::remove(destination.c_str());
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kFileBytes));
}

void BM_FileOperations_CopyFileEntry(benchmark::State& state) {
  Tevrol::File::Path const source(TxString(Files().Source().c_str()));
  Tevrol::File::Path const destination(TxString(Files().Destination().c_str()));
  RunCopies(state, [&] {
    Tevrol::File::ErrorCode error;
    return Tevrol::File::FileOperations::CopyFileEntry(source, destination, true, error);
  });
}
BENCHMARK(BM_FileOperations_CopyFileEntry)
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_FileOperations_CopyFileCp(benchmark::State& state) {
  std::string source = Files().Source();
  std::string destination = Files().Destination();
  RunCopies(state, [&] {
    char cp[] = "cp";
    char* argv[] = {cp, source.data(), destination.data(), nullptr};
    pid_t pid;
    if (posix_spawnp(&pid, "cp", nullptr, nullptr, argv, environ) != 0) return false;
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  });
}
BENCHMARK(BM_FileOperations_CopyFileCp)
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The calls the copy is bound to: 512-byte read and write rounds.
void BM_FileOperations_CopyFileFloor512(benchmark::State& state) {
  std::string const source = Files().Source();
  std::string const destination = Files().Destination();
  RunCopies(state, [&] {
    int const in = open(source.c_str(), O_RDONLY);
    int const out = open(destination.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    char buffer[512];
    bool ok = in >= 0 && out >= 0;
    for (ssize_t got; ok && (got = read(in, buffer, sizeof buffer)) > 0;) {
      ok = write(out, buffer, static_cast<std::size_t>(got)) == got;
    }
    if (in >= 0) close(in);
    if (out >= 0) close(out);
    return ok;
  });
}
BENCHMARK(BM_FileOperations_CopyFileFloor512)
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
