#include <benchmark/benchmark.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include <stdlib.h>
#include <unistd.h>

#ifdef TEVROL_BENCH_HAVE_GLIB
#include <glib.h>
#endif

#include "config/ConfigImportModel.h"
#include "config/ConfigSystemImpl.h"

// Import of one file of 10,000 key lines (330 KB), 100 groups of 100 keys, a
// third each numbers ("d:" with 8 digits), texts (12 bytes) and byte lists (8
// bytes), beside:
// - the model: the plain reader Import is checked against (one virtual Read
//   a byte, sscanf, fresh texts for every store call), storing through the
//   same store operations;
// - the floor: fgets and sscanf of the same grammar (the same "%8x" and
//   every-third-byte "%2x" calls) into a std::unordered_map;
// - GLib's GKeyFile loading the same keys written as plain INI into a second
//   file (Key0=12000, Key1=value 00001, Key2=1;2;3;4;5;6;7;2); each key is
//   read back after the timed loop, and the lookup rows read them all.
// Each import starts from a new store; taking it down is not timed.
namespace {

constexpr int kGroups = 100;
constexpr int kKeys = 100;

std::string GroupName(int g) {
  return "Group" + std::to_string(g);
}
std::string KeyName(int k) {
  return "Key" + std::to_string(k);
}

// The file, written once into a private folder that lives as long as the process.
std::string const& Folder() {
  static std::string folder = [] {
    char name[] = "/tmp/tevrol-config-bench-XXXXXX";
    std::string path = mkdtemp(name) != nullptr ? name : "/tmp";
    std::FILE* file = std::fopen((path + "/config.ini").c_str(), "w");
    for (int g = 0; g < kGroups; ++g) {
      std::fprintf(file, "[%s]\n", GroupName(g).c_str());
      for (int k = 0; k < kKeys; ++k) {
        switch (k % 3) {
          case 0:
            std::fprintf(file, "\"%s\"=d:%08x\n", KeyName(k).c_str(), g * 1000 + k);
            break;
          case 1:
            std::fprintf(file, "\"%s\"=\"value %05d\"\n", KeyName(k).c_str(), k);
            break;
          default:
            std::fprintf(file, "\"%s\"=hex:01,02,03,04,05,06,07,%02x\n", KeyName(k).c_str(), k);
        }
      }
    }
    std::fclose(file);
    file = std::fopen((path + "/keyfile.ini").c_str(), "w");
    for (int g = 0; g < kGroups; ++g) {
      std::fprintf(file, "[%s]\n", GroupName(g).c_str());
      for (int k = 0; k < kKeys; ++k) {
        switch (k % 3) {
          case 0:
            std::fprintf(file, "%s=%d\n", KeyName(k).c_str(), g * 1000 + k);
            break;
          case 1:
            std::fprintf(file, "%s=value %05d\n", KeyName(k).c_str(), k);
            break;
          default:
            std::fprintf(file, "%s=1;2;3;4;5;6;7;%d\n", KeyName(k).c_str(), k);
        }
      }
    }
    std::fclose(file);
    std::atexit([] {
      unlink((Folder() + "/config.ini").c_str());
      unlink((Folder() + "/keyfile.ini").c_str());
      rmdir(Folder().c_str());
    });
    return path;
  }();
  return folder;
}

// The floor's store.
struct Value {
  int kind = 0;
  std::int32_t number = 0;
  std::string text;
  std::vector<unsigned char> bytes;
};
using FloorStore = std::unordered_map<std::string, Value>;

void FloorImport(std::string const& path, FloorStore& store) {
  std::FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return;
  char line[1024];
  std::string group;
  bool inGroup = false;
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strchr(line, '\n') == nullptr) continue;  // no line end: no line
    if (line[0] == '[') {
      char* close = std::strchr(line + 1, ']');
      group.assign(line + 1, close != nullptr ? close : line + std::strlen(line));
      inGroup = true;
      continue;
    }
    if (line[0] != '"' || !inGroup) continue;
    char* close = std::strchr(line + 1, '"');
    if (close == nullptr || close[1] != '=') continue;
    char* value = close + 2;
    Value v;
    if (*value == '"') {
      char* end = std::strchr(value + 1, '"');
      if (end == nullptr) continue;
      v.kind = 2;
      v.text.assign(value + 1, end);
    } else if (*value == 'd' || *value == 'D' || *value == 'h' || *value == 'H') {
      char* colon = std::strchr(value, ':');
      if (colon == nullptr) continue;
      if (*value == 'd' || *value == 'D') {
        std::uint32_t number = 0;
        std::sscanf(colon + 1, "%8" SCNx32, &number);
        v.kind = 1;
        v.number = static_cast<std::int32_t>(number);
      } else {
        v.kind = 3;
        const std::size_t length = std::strlen(colon + 1);
        for (std::size_t i = 0; i < length; i += 3) {
          std::uint32_t byte = 0;
          if (std::sscanf(colon + 1 + i, "%2" SCNx32, &byte) != 1) break;
          v.bytes.push_back(static_cast<unsigned char>(byte));
        }
      }
    } else {
      continue;
    }
    std::string key = group;
    key.push_back('\0');
    key.append(line + 1, close);
    store[std::move(key)] = std::move(v);
  }
  std::fclose(file);
}

void BM_ConfigSystem_Import(benchmark::State& state) {
  for (auto _ : state) {
    ConfigSystemImpl system;
    system.SetPersistentStorageFolder(Folder().c_str());
    system.Import();
    state.PauseTiming();
    system.Shutdown();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_Import)->Unit(benchmark::kMillisecond);

void BM_ConfigSystem_ImportModel(benchmark::State& state) {
  for (auto _ : state) {
    ConfigSystemImpl system;
    system.SetPersistentStorageFolder(Folder().c_str());
    ConfigImportModel::ImportFile(system, nullptr);
    state.PauseTiming();
    system.Shutdown();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_ImportModel)->Unit(benchmark::kMillisecond);

void BM_ConfigSystem_ImportFloorFgetsSscanf(benchmark::State& state) {
  const std::string path = Folder() + "/config.ini";
  for (auto _ : state) {
    FloorStore store;
    FloorImport(path, store);
    benchmark::DoNotOptimize(store.size());
    state.PauseTiming();
    store = FloorStore();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_ImportFloorFgetsSscanf)->Unit(benchmark::kMillisecond);

#ifdef TEVROL_BENCH_HAVE_GLIB
// Every key of the file by its kind's getter; the number of keys whose value
// is right.
std::int64_t ReadEveryKey(GKeyFile* keyFile, std::vector<std::string> const& groups,
                          std::vector<std::string> const& keys) {
  std::int64_t right = 0;
  for (int g = 0; g < kGroups; ++g) {
    for (int k = 0; k < kKeys; ++k) {
      char const* const group = groups[g].c_str();
      char const* const key = keys[k].c_str();
      switch (k % 3) {
        case 0:
          right += g_key_file_get_integer(keyFile, group, key, nullptr) == g * 1000 + k;
          break;
        case 1: {
          gchar* const text = g_key_file_get_string(keyFile, group, key, nullptr);
          right += text != nullptr && std::strlen(text) == 11;
          g_free(text);
          break;
        }
        default: {
          gsize length = 0;
          gint* const list = g_key_file_get_integer_list(keyFile, group, key, &length, nullptr);
          right += list != nullptr && length == 8 && list[7] == k;
          g_free(list);
        }
      }
    }
  }
  return right;
}

std::vector<std::string> Names(std::string (*name)(int), int count) {
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(name(i));
  return names;
}

void BM_ConfigSystem_ImportGKeyFile(benchmark::State& state) {
  std::string const path = Folder() + "/keyfile.ini";
  std::int64_t right = 0;
  for (auto _ : state) {
    GKeyFile* const keyFile = g_key_file_new();
    gboolean const loaded =
        g_key_file_load_from_file(keyFile, path.c_str(), G_KEY_FILE_NONE, nullptr);
    state.PauseTiming();
    right = loaded ? ReadEveryKey(keyFile, Names(GroupName, kGroups), Names(KeyName, kKeys)) : 0;
    g_key_file_free(keyFile);
    state.ResumeTiming();
  }
  if (right != kGroups * kKeys) state.SkipWithError("a key is missing or wrong");
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_ImportGKeyFile)->Unit(benchmark::kMillisecond);
#endif

// Every key of the imported file, by its kind's Retrieve.
void BM_ConfigSystem_LookupEveryKey(benchmark::State& state) {
  ConfigSystemImpl system;
  system.SetPersistentStorageFolder(Folder().c_str());
  system.Import();
  std::vector<TxString> groups, keys;
  for (int g = 0; g < kGroups; ++g) groups.emplace_back(GroupName(g).c_str());
  for (int k = 0; k < kKeys; ++k) keys.emplace_back(KeyName(k).c_str());
  std::int64_t found = 0;
  for (auto _ : state) {
    for (int g = 0; g < kGroups; ++g) {
      for (int k = 0; k < kKeys; ++k) {
        Tevrol::Long number = 0;
        TxString text;
        unsigned char bytes[16];
        Tevrol::ULong length = 0;
        switch (k % 3) {
          case 0:
            found += system.RetrieveNumericalValue(groups[g], keys[k], number, 0);
            break;
          case 1:
            found += system.RetrieveStringValue(groups[g], keys[k], text, NULLString);
            break;
          default:
            found += system.RetrieveByteArray(groups[g], keys[k], bytes, sizeof bytes, length);
        }
      }
    }
  }
  benchmark::DoNotOptimize(found);
  if (found != state.iterations() * kGroups * kKeys) state.SkipWithError("a key is missing");
  system.Shutdown();
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_LookupEveryKey)->Unit(benchmark::kMillisecond);

void BM_ConfigSystem_LookupEveryKeyFloor(benchmark::State& state) {
  FloorStore store;
  FloorImport(Folder() + "/config.ini", store);
  std::vector<std::string> names;
  for (int g = 0; g < kGroups; ++g) {
    for (int k = 0; k < kKeys; ++k) {
      names.push_back(GroupName(g) + std::string(1, '\0') + KeyName(k));
    }
  }
  std::int64_t found = 0;
  for (auto _ : state) {
    for (auto const& name : names) found += store.count(name);
  }
  benchmark::DoNotOptimize(found);
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_LookupEveryKeyFloor)->Unit(benchmark::kMillisecond);

#ifdef TEVROL_BENCH_HAVE_GLIB
void BM_ConfigSystem_LookupEveryKeyGKeyFile(benchmark::State& state) {
  GKeyFile* const keyFile = g_key_file_new();
  g_key_file_load_from_file(keyFile, (Folder() + "/keyfile.ini").c_str(), G_KEY_FILE_NONE, nullptr);
  std::vector<std::string> const groups = Names(GroupName, kGroups);
  std::vector<std::string> const keys = Names(KeyName, kKeys);
  std::int64_t right = 0;
  for (auto _ : state) right += ReadEveryKey(keyFile, groups, keys);
  g_key_file_free(keyFile);
  if (right != state.iterations() * kGroups * kKeys) state.SkipWithError("a key is missing");
  state.SetItemsProcessed(state.iterations() * kGroups * kKeys);
}
BENCHMARK(BM_ConfigSystem_LookupEveryKeyGKeyFile)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
