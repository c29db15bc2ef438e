// Naming: BM_<Class>_<What>. Listing one folder of 10,000 plain files with
// the wildcard "*.LOG" (2,500 match without regard to case, see
// BenchSupport.h): the browser's GetFirstEntry/GetNextEntry/
// ReleaseEntry against a floor of opendir/readdir64, the path joined,
// stat64 and regexec on each name, as the browser must do. Each iteration is
// one whole listing; items are directory records.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "BenchSupport.h"
#include "file/FileSystem.h"

namespace {

constexpr int kFiles = kListingEntries;

// The folder, made once and removed at exit.
struct Folder {
  Folder() {
    char name[] = "/tmp/fsbench.XXXXXX";
    if (mkdtemp(name) == nullptr) return;
    path = name;
    FillListingFolder(path);
  }
  ~Folder() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

Folder const& TheFolder() {
  static Folder folder;
  return folder;
}

}  // namespace

static void BM_FileSystem_ListWildcard(benchmark::State& state) {
  Folder const& folder = TheFolder();
  TxString const pattern((folder.path + "/*.LOG").c_str());
  FileSystem fs;
  int matches = 0;
  for (auto _ : state) {
    matches = 0;
    for (DirEntry* entry = fs.GetFirstEntry(&pattern); entry != nullptr;
         entry = fs.GetNextEntry()) {
      ++matches;
      FileSystem::ReleaseEntry(entry);
    }
    fs.EndFind();
  }
  if (matches != kListingMatches) state.SkipWithError("wrong number of matches");
  state.SetItemsProcessed(state.iterations() * (kFiles + 2));
}
BENCHMARK(BM_FileSystem_ListWildcard)->Unit(benchmark::kMillisecond);

static void BM_FileSystem_ListFloor(benchmark::State& state) {
  Folder const& folder = TheFolder();
  std::string const dir = folder.path + "/";
  int matches = 0;
  for (auto _ : state) {
    matches = 0;
    regex_t regex;
    if (regcomp(&regex, "^.*\\.LOG$", REG_ICASE) != 0) {
      state.SkipWithError("regcomp");
      break;
    }
    DIR* const handle = opendir(dir.c_str());
    char path[256];
    while (struct dirent64* record = readdir64(handle)) {
      std::snprintf(path, sizeof path, "%s%s", dir.c_str(), record->d_name);
      struct stat64 status;
      if (stat64(path, &status) != 0) continue;
      if (regexec(&regex, record->d_name, 0, nullptr, 0) != 0) continue;
      benchmark::DoNotOptimize(status.st_size);
      ++matches;
    }
    closedir(handle);
    regfree(&regex);
  }
  if (matches != kListingMatches) state.SkipWithError("wrong number of matches");
  state.SetItemsProcessed(state.iterations() * (kFiles + 2));
}
BENCHMARK(BM_FileSystem_ListFloor)->Unit(benchmark::kMillisecond);
