// FindFiles and the walk of its iterator over one folder of 10,000 entries
// with the pattern "*.LOG", which 2,500 of them match without regard to case
// (BenchSupport.h), beside a floor of opendir/readdir64/regexec that compiles
// the same expression, stores the names it matches and joins each with the
// folder, as the walk hands out full paths.
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

#include "BenchSupport.h"
#include "file/FileOperations.h"

namespace {

constexpr int kEntries = kListingEntries;

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
    FillListingFolder(m_dir);
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
  std::int64_t found = 0;
  for (auto _ : state) {
    found = 0;
    Tevrol::File::ErrorCode error;
    for (auto it = Tevrol::File::FileOperations::FindFiles(pattern, error); !(*it).IsEmpty();
         ++it) {
      benchmark::DoNotOptimize((*it).GetLength());
      ++found;
    }
  }
  if (found != kListingMatches) state.SkipWithError("wrong number of matches");
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
    for (std::string const& name : names) {
      std::string const full = dir + "/" + name;
      benchmark::DoNotOptimize(full.data());
    }
    matches = names.size();
  }
  state.counters["matches"] = static_cast<double>(matches);
  state.counters["entries"] = kEntries;
}
BENCHMARK(BM_FileOperations_FindFilesFloor)->Unit(benchmark::kMillisecond);

}  // namespace
