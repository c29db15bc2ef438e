#include "frame/containers/PIMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Tevrol::ULong;
using Alloc = PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>;
using TextMap = PIMap<char const*, char const*, ULong, ULong, NullLocking, Alloc>;

// The documented bucket of a text key, worked out apart from the map: each
// byte as a signed number, summed wide and cut to 32 bits at every step.
ULong TextBucket(std::string const& text) {
  long long hash = 0;
  for (unsigned char const byte : text)
    hash = (hash * 33 + (byte > 0x7F ? byte - 256 : byte)) & 0xFFFFFFFF;
  return static_cast<ULong>(hash % 17);
}

// The keys in the order of a walk as the owners walk: Rewind, nothing on a
// null cursor, then GetNextEntry until it returns false; the first, third,
// ... entry is removed as soon as it is delivered, if so asked.
std::vector<char const*> Walk(TextMap& map, bool removeEveryOther = false) {
  std::vector<char const*> keys;
  map.Rewind();
  for (bool more = map.m_nextEntry != nullptr; more;) {
    TextMap::CEntry entry{};
    more = map.GetNextEntry(entry.m_key, entry.m_value);
    keys.push_back(entry.m_key);
    if (removeEveryOther && keys.size() % 2 == 1) map.RemoveCurrent();
  }
  return keys;
}

TEST(PIMapTest, WalkIsByAscendingBucketNewestFirstAndMayRemoveWhatItDelivered) {
  // "a\xe9" hashes to 97 * 33 - 23, bucket 16; read unsigned, it would land in bucket 0.
  std::vector<std::string> texts = {"", "a\xe9", "caf\xe9", "\xc3\xa9t\xc3\xa9", "\x80\x81\xfe"};
  for (int i = 0; i < 60; ++i) texts.push_back("key" + std::to_string(i));
  TextMap map;
  std::vector<char const*> order;  // newest first, then stably by bucket
  for (std::string const& text : texts)
    map[text.c_str()] = 1, order.insert(order.begin(), text.c_str());
  std::stable_sort(order.begin(), order.end(),
                   [](char const* a, char const* b) { return TextBucket(a) < TextBucket(b); });
  EXPECT_EQ(Walk(map), order);
  EXPECT_EQ(Walk(map, true), order) << "removing the entry just delivered disturbs no walk";
  std::vector<char const*> kept;
  for (std::size_t i = 1; i < order.size(); i += 2) kept.push_back(order[i]);
  EXPECT_EQ(Walk(map), kept);

  // Removing the entry a walk would deliver next: the walk goes on behind it.
  map.Rewind();
  TextMap::CEntry entry{};
  map.GetNextEntry(entry.m_key, entry.m_value);
  EXPECT_TRUE(map.RemoveKey(kept[1]));
  std::vector<char const*> rest = {kept[0]};
  for (bool more = map.m_nextEntry != nullptr; more; rest.push_back(entry.m_key))
    more = map.GetNextEntry(entry.m_key, entry.m_value);
  kept.erase(kept.begin() + 1);
  EXPECT_EQ(rest, kept);

  PIMap<ULong, ULong, char*, char*, NullLocking, Alloc> numbers;  // by the value shifted right by 2
  for (ULong const key : {0u, 3u, 4u, 70u, 0xFFFFFFFFu})
    EXPECT_EQ((numbers[key], numbers.Lookup(key)->m_bucket), (key >> 2) % 17) << key;
}

TEST(PIMapTest, EqualTextsAreOneKeyAndEntriesStayUntilRemoveAll) {
  char first[] = "alpha";
  char second[] = "alpha";
  TextMap map;
  EXPECT_FALSE(map.RemoveKey(first));
  EXPECT_EQ(map.m_table, nullptr) << "RemoveKey inserts nothing";
  EXPECT_EQ(map[first], 0u) << "operator[] inserts a zero value";
  map[second] = 2;
  map[nullptr] = 4;  // hashes to 0 as "" does; each is a key of its own
  map[""] = 3;
  EXPECT_EQ(map.Lookup("alpha")->m_key, first) << "the first pointer stays";
  EXPECT_EQ(map.Lookup("alpha")->m_value, 2u);
  EXPECT_EQ(map.Lookup(nullptr)->m_value, 4u);
  EXPECT_TRUE(map.RemoveKey(nullptr) && map.RemoveKey("") && map.RemoveKey(second));
  EXPECT_NE(map.m_table, nullptr) << "the last RemoveKey keeps table and blocks";
  EXPECT_NE(map.m_blocks, nullptr);
  EXPECT_EQ(map["beta"], 0u) << "a reused entry is zeroed";
  map.RemoveAll();
  EXPECT_EQ(map.m_table, nullptr);
  EXPECT_EQ(map.m_blocks, nullptr);
  EXPECT_TRUE(Walk(map).empty()) << "Rewind leaves an empty map at its end";
  map.SetLock(nullptr);
  EXPECT_NE(map.GetLock(), nullptr) << "PIMap keeps its own lock";
}

}  // namespace
