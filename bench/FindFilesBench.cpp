// FindFiles over one folder of 10,000 entries with the pattern "*.LOG",
// which 5,000 of them match (names "entry-NNNNN.log" and "entry-NNNNN.txt"),
// beside a floor of opendir/readdir64/regexec that compiles the same
// expression and stores the names it matches.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <regex.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "file/FileOperations.h"

namespace {

constexpr int kEntries = 10000;

int RemoveEntry(char const* path, struct stat const*, int, struct FTW*) {
  return std::remove(path);
}

// The folder is made once per run and removed at exit.
class SearchFolder {
 public:
  SearchFolder() {
    char name[] = "/tmp/findfiles-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) return;
    m_dir = name;
    for (int i = 0; i < kEntries; ++i) {
      char leaf[32];
      std::snprintf(leaf, sizeof leaf, "/entry-%05d.%s", i, i % 2 == 0 ? "log" : "txt");
      int const fd = open((m_dir + leaf).c_str(), O_WRONLY | O_CREAT, 0600);
      if (fd >= 0) close(fd);
    }
  }
  ~SearchFolder() {
    if (!m_dir.empty()) nftw(m_dir.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
  }
  std::string const& Dir() const { return m_dir; }

 private:
  std::string m_dir;
};

SearchFolder const& Folder() {
  static SearchFolder const folder;
  return folder;
}

void BM_FileOperations_FindFiles(benchmark::State& state) {
  Tevrol::File::Path const pattern(TxString((Folder().Dir() + "/*.LOG").c_str()));
  for (auto _ : state) {
    Tevrol::File::ErrorCode error;
    Tevrol::File::FindIterator it = Tevrol::File::FileOperations::FindFiles(pattern, error);
    benchmark::DoNotOptimize(it);
  }
  // Counted outside the timed part: the walk builds a Path per name, which
  // the floor does not.
  Tevrol::File::ErrorCode error;
  std::int64_t found = 0;
  for (auto it = Tevrol::File::FileOperations::FindFiles(pattern, error); !(*it).IsEmpty(); ++it) {
    ++found;
  }
  state.counters["matches"] = static_cast<double>(found);
  state.counters["entries"] = kEntries;
}
BENCHMARK(BM_FileOperations_FindFiles)->Unit(benchmark::kMillisecond);

void BM_FileOperations_FindFilesFloor(benchmark::State& state) {
  std::string const dir = Folder().Dir();
  std::size_t matches = 0;
  for (auto _ : state) {
    // A fresh result per search, as FindFiles hands one to its caller.
    std::vector<std::string> names;
    regex_t compiled;
    if (regcomp(&compiled, "^.*\\.LOG$", REG_ICASE) != 0) break;
    if (DIR* folder = opendir(dir.c_str())) {
      while (struct dirent64 const* entry = readdir64(folder)) {
        if (regexec(&compiled, entry->d_name, 0, nullptr, 0) == 0)
          names.emplace_back(entry->d_name);
      }
      closedir(folder);
    }
    regfree(&compiled);
    benchmark::DoNotOptimize(names.data());
    matches = names.size();
  }
  state.counters["matches"] = static_cast<double>(matches);
  state.counters["entries"] = kEntries;
}
BENCHMARK(BM_FileOperations_FindFilesFloor)->Unit(benchmark::kMillisecond);

}  // namespace
