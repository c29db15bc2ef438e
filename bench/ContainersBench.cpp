// Naming: BM_<Class>_<What>; the standard containers are the floor.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIArray.h"
#include "frame/containers/PIList.h"
#include "frame/containers/PIMap.h"
#include "frame/containers/PIObjectExtL.h"

namespace {
using List = PIList<void*, void*, NullLocking,
                    PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;
using Map = PIMap<char const*, char const*, void*, void*, NullLocking,
                  PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>>;
using Array = PIArray<int, int const&, NullLocking,
                      PIAlloc<PICommonAllocDescriptors::PIArray, PIDefaultAllocator>>;
}  // namespace

// A queue in its steady state: one element stays, so no block is given back
// and every operation is a free-list pop and push.
static void BM_PIList_AddTailRemoveHead(benchmark::State& state) {
  List list;
  list.AddTail(nullptr);
  for (auto _ : state) {
    list.AddTail(&list);
    benchmark::DoNotOptimize(list.RemoveHead());
  }
}
BENCHMARK(BM_PIList_AddTailRemoveHead);

static void BM_StdList_PushBackPopFront(benchmark::State& state) {
  std::list<void*> list;
  list.push_back(nullptr);
  for (auto _ : state) {
    list.push_back(&list);
    benchmark::DoNotOptimize(list.front());
    list.pop_front();
  }
}
BENCHMARK(BM_StdList_PushBackPopFront);

// Lookups in a map of n text keys: 17 fixed buckets, so a large map degrades
// towards a list.
static void BM_PIMap_Lookup(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<std::string> keys;
  for (int i = 0; i < n; ++i) keys.push_back("group" + std::to_string(i));
  Map map;
  for (auto const& key : keys) map[key.c_str()] = nullptr;
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.Lookup(keys[i].c_str()));
    i = (i + 1) % keys.size();
  }
}
BENCHMARK(BM_PIMap_Lookup)->Arg(8)->Arg(64)->Arg(512);

static void BM_StdUnorderedMap_Find(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<std::string> keys;
  for (int i = 0; i < n; ++i) keys.push_back("group" + std::to_string(i));
  std::unordered_map<std::string, void*> map;
  for (auto const& key : keys) map[key] = nullptr;
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(keys[i]));
    i = (i + 1) % keys.size();
  }
}
BENCHMARK(BM_StdUnorderedMap_Find)->Arg(8)->Arg(64)->Arg(512);

static void BM_PIArray_AddMany(benchmark::State& state) {
  for (auto _ : state) {
    Array array;
    for (int i = 0; i < state.range(0); ++i) array.Add(i);
    benchmark::DoNotOptimize(array.GetData());
  }
}
BENCHMARK(BM_PIArray_AddMany)->Arg(1000);

static void BM_StdVector_PushBackMany(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<int> vector;
    for (int i = 0; i < state.range(0); ++i) vector.push_back(i);
    benchmark::DoNotOptimize(vector.data());
  }
}
BENCHMARK(BM_StdVector_PushBackMany)->Arg(1000);
