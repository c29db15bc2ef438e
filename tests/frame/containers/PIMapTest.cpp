#include "frame/containers/PIMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using Alloc = PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>;
using TextMap = PIMap<char const*, char const*, Tevrol::ULong, Tevrol::ULong, NullLocking, Alloc>;
using NumberMap = PIMap<Tevrol::ULong, Tevrol::ULong, char*, char*, NullLocking, Alloc>;
using WordMap = PIMap<std::uintptr_t, std::uintptr_t, char*, char*, NullLocking, Alloc>;

// The text hash worked out independently: signed bytes summed in wide
// arithmetic, then cut to 32 bits at every step.
Tevrol::ULong TextBucket(std::string const& text) {
  std::uint64_t hash = 0;
  for (unsigned char const byte : text) {
    std::int64_t const value = byte > 0x7F ? std::int64_t{byte} - 256 : std::int64_t{byte};
    hash = static_cast<std::uint64_t>(static_cast<std::int64_t>(hash * 33) + value) & 0xFFFFFFFFu;
  }
  return static_cast<Tevrol::ULong>(hash % 17);
}

// Keys in walk order, walked as owners walk: Rewind, a null cursor
// for an empty map, then GetNextEntry until it returns false.
template <class Map, class Key, class Value>
std::vector<std::pair<Key, Value>> Walk(Map& map) {
  std::vector<std::pair<Key, Value>> out;
  map.Rewind();
  if (map.m_nextEntry == nullptr) {
    return out;
  }
  bool more = true;
  while (more) {
    Key key{};
    Value value{};
    more = map.GetNextEntry(key, value);
    out.emplace_back(key, value);
  }
  EXPECT_EQ(static_cast<Tevrol::Long>(out.size()), map.GetCount());
  return out;
}

constexpr Tevrol::ULong kMissing = 0xDEADu;

// The value stored under `key`, or kMissing.
Tevrol::ULong ValueOf(TextMap const& map, char const* key) {
  TextMap::CEntry const* const entry = map.Lookup(key);
  return entry != nullptr ? entry->m_value : kMissing;
}

std::vector<std::string> TextKeys(TextMap& map) {
  std::vector<std::string> keys;
  for (auto const& entry : Walk<TextMap, char const*, Tevrol::ULong>(map)) {
    keys.emplace_back(entry.first);
  }
  return keys;
}

TEST(PIMapTest, TextKeysHashBySignedBytesTimes33) {
  struct Case {
    char const* text;
    std::uint32_t hash;
    Tevrol::ULong bucket;
  };
  Case const cases[] = {
      {"", 0u, 0},
      {"a", 97u, 12},
      {"ab", 3299u, 1},
      {"Radio", 100843887u, 6},
      {"\xff", 0xFFFFFFFFu, 0},  // -1
      {"a\xe9", 3178u, 16},      // 97 * 33 - 23; bytes read unsigned would give bucket 0
      {"caf\xe9", 3666739u, 9},  // unsigned: 10
      {"\xc3\xa9t\xc3\xa9", 4219623820u, 15},  // UTF-8 "été"; unsigned: 14
  };
  TextMap map;
  for (std::size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    EXPECT_EQ(PIMapKeys::HashKey(cases[i].text), cases[i].hash);
    EXPECT_EQ(TextBucket(cases[i].text), cases[i].bucket);
    map[cases[i].text] = static_cast<Tevrol::ULong>(i);
    ASSERT_NE(map.Lookup(cases[i].text), nullptr);
    EXPECT_EQ(map.Lookup(cases[i].text)->m_bucket, cases[i].bucket);
  }
  EXPECT_EQ(PIMapKeys::HashKey(static_cast<char const*>(nullptr)), 0u);
}

TEST(PIMapTest, WalkIsByAscendingBucketNewestFirst) {
  std::vector<std::string> texts = {"caf\xe9", "a\xe9", "\xc3\xa9t\xc3\xa9", "\x80\x81\xfe"};
  for (int i = 0; i < 60; ++i) {
    texts.push_back("key" + std::to_string(i));
  }
  TextMap map;
  for (std::string const& text : texts) {
    map[text.c_str()] = 1;
  }
  // Newest first, then a stable sort by bucket keeps that order within one.
  std::vector<std::string> expected(texts.rbegin(), texts.rend());
  std::stable_sort(
      expected.begin(), expected.end(),
      [](std::string const& a, std::string const& b) { return TextBucket(a) < TextBucket(b); });
  EXPECT_EQ(TextKeys(map), expected);
}

TEST(PIMapTest, IntegerKeysHashByValueShiftedRightByTwo) {
  char text[] = "x";
  NumberMap numbers;
  std::vector<Tevrol::ULong> keys;
  for (Tevrol::ULong key = 0; key < 80; key += 3) {
    numbers[key] = text;
    keys.push_back(key);
  }
  numbers[0xFFFFFFFFu] = text;
  keys.push_back(0xFFFFFFFFu);
  ASSERT_NE(numbers.Lookup(0xFFFFFFFFu), nullptr);
  EXPECT_EQ(numbers.Lookup(0xFFFFFFFFu)->m_bucket, 0x3FFFFFFFu % 17);

  std::vector<Tevrol::ULong> expected(keys.rbegin(), keys.rend());
  std::stable_sort(expected.begin(), expected.end(),
                   [](Tevrol::ULong a, Tevrol::ULong b) { return (a >> 2) % 17 < (b >> 2) % 17; });
  std::vector<Tevrol::ULong> walked;
  for (auto const& entry : Walk<NumberMap, Tevrol::ULong, char*>(numbers)) {
    walked.push_back(entry.first);
  }
  EXPECT_EQ(walked, expected);

  // Address-wide keys use the same rule on the whole word, cut to 32 bits.
  WordMap words;
  std::uintptr_t const address = reinterpret_cast<std::uintptr_t>(&text[0]);
  words[address] = text;
  ASSERT_NE(words.Lookup(address), nullptr);
  EXPECT_EQ(words.Lookup(address)->m_bucket, static_cast<std::uint32_t>(address >> 2) % 17);
  EXPECT_EQ(words.Lookup(address + 1), nullptr);
}

TEST(PIMapTest, EqualTextsAreOneKeyAndTheFirstPointerStays) {
  char first[] = "alpha";
  char second[] = "alpha";
  TextMap map;
  map[first] = 1;
  map[second] = 2;
  EXPECT_EQ(map.GetCount(), 1);
  ASSERT_NE(map.Lookup(second), nullptr);
  EXPECT_EQ(map.Lookup(second)->m_key, first);
  EXPECT_EQ(ValueOf(map, "alpha"), 2u);
  EXPECT_EQ(map.Lookup("Alpha"), nullptr) << "case counts";
  EXPECT_TRUE(map.RemoveKey(second));
  EXPECT_EQ(map.GetCount(), 0);
}

TEST(PIMapTest, IndexInsertsAZeroValueAndLookupDoesNot) {
  TextMap map;
  EXPECT_EQ(map.Lookup("x"), nullptr);
  EXPECT_FALSE(map.RemoveKey("x"));
  EXPECT_EQ(map.m_table, nullptr) << "neither Lookup nor RemoveKey inserts";

  EXPECT_EQ(map["x"], 0u);
  EXPECT_EQ(map.GetCount(), 1);
  EXPECT_NE(map.m_table, nullptr);
  map["x"] = 5;
  EXPECT_EQ(map["x"], 5u);
  EXPECT_EQ(map.GetCount(), 1);

  // A reused entry is zeroed again.
  EXPECT_TRUE(map.RemoveKey("x"));
  EXPECT_EQ(map["y"], 0u);
}

TEST(PIMapTest, NullTextKeyEqualsOnlyNull) {
  TextMap map;
  map[nullptr] = 5;
  EXPECT_EQ(map.Lookup(""), nullptr);
  map[""] = 6;
  EXPECT_EQ(map.GetCount(), 2);
  EXPECT_EQ(ValueOf(map, nullptr), 5u);
  EXPECT_EQ(ValueOf(map, ""), 6u);
  EXPECT_TRUE(map.RemoveKey(nullptr));
  EXPECT_EQ(ValueOf(map, ""), 6u);
}

TEST(PIMapTest, RemoveKeyKeepsBlocksAndRemoveAllFreesThem) {
  TextMap map;
  map["only"] = 1;
  void* const blocks = map.m_blocks;
  EXPECT_TRUE(map.RemoveKey("only"));
  EXPECT_FALSE(map.RemoveKey("only"));
  EXPECT_EQ(map.GetCount(), 0);
  EXPECT_NE(map.m_table, nullptr);
  EXPECT_EQ(map.m_blocks, blocks);
  EXPECT_NE(map.m_freeList, nullptr);

  map.RemoveAll();
  EXPECT_EQ(map.m_table, nullptr);
  EXPECT_EQ(map.m_blocks, nullptr);
  EXPECT_EQ(map.m_freeList, nullptr);
  EXPECT_EQ(map.m_bucketCount, 17u);

  map["again"] = 2;
  EXPECT_NE(map.m_table, nullptr);
  EXPECT_EQ(ValueOf(map, "again"), 2u);
}

TEST(PIMapTest, EntriesComeFromBlocksFirstEntryFirst) {
  NumberMap map;
  std::vector<NumberMap::CEntry*> entries;
  for (Tevrol::ULong key = 0; key < 10; ++key) {
    map[key] = nullptr;
    entries.push_back(map.Lookup(key));
  }
  void* const first = map.m_blocks;
  EXPECT_EQ(map.m_freeList, nullptr);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i], entries[0] + i) << "entry " << i;
  }
  map[10] = nullptr;
  EXPECT_EQ(*static_cast<void**>(map.m_blocks), first) << "a new block links the old one";

  EXPECT_TRUE(map.RemoveKey(4));
  map[11] = nullptr;
  EXPECT_EQ(map.Lookup(11), entries[4]) << "a freed entry is used first";
}

TEST(PIMapTest, WalkCanRemoveEachEntryItDelivered) {
  TextMap map;
  std::vector<char*> texts;
  for (int i = 0; i < 30; ++i) {
    std::string const text = "name" + std::to_string(i);
    texts.push_back(new char[text.size() + 1]);
    std::memcpy(texts.back(), text.c_str(), text.size() + 1);
    map[texts.back()] = static_cast<Tevrol::ULong>(i);
  }
  std::vector<std::string> const before = TextKeys(map);

  // Take out every other entry; a taken key text is freed before the
  // removal, as an owner that frees while it walks may do.
  std::vector<std::string> kept;
  map.Rewind();
  ASSERT_NE(map.m_nextEntry, nullptr);
  bool more = true;
  for (std::size_t i = 0; more; ++i) {
    char const* key = nullptr;
    Tevrol::ULong value = 0;
    more = map.GetNextEntry(key, value);
    ASSERT_EQ(before[i], key);
    if (i % 2 == 0) {
      delete[] const_cast<char*>(key);
      map.RemoveCurrent();
      EXPECT_EQ(map.m_current, nullptr);
    } else {
      kept.emplace_back(key);
    }
  }
  EXPECT_EQ(map.GetCount(), 15);
  EXPECT_EQ(TextKeys(map), kept);

  for (auto const& entry : Walk<TextMap, char const*, Tevrol::ULong>(map)) {
    delete[] const_cast<char*>(entry.first);
  }
  map.Rewind();
  bool rest = map.m_nextEntry != nullptr;
  while (rest) {
    char const* key = nullptr;
    Tevrol::ULong value = 0;
    rest = map.GetNextEntry(key, value);
    map.RemoveCurrent();
  }
  EXPECT_EQ(map.GetCount(), 0);
  EXPECT_NE(map.m_blocks, nullptr);
}

TEST(PIMapTest, CursorEdges) {
  TextMap map;
  char const* key = "untouched";
  Tevrol::ULong value = 77;
  map.Rewind();
  EXPECT_EQ(map.m_nextEntry, nullptr) << "an empty map rewinds to the end";
  EXPECT_FALSE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "untouched");
  EXPECT_EQ(value, 77u);
  map.RemoveCurrent();  // no current entry: nothing

  map["a"] = 1;
  map["ab"] = 2;  // bucket 1, "a" bucket 12
  map.Rewind();
  EXPECT_EQ(map.m_nextEntry, TextMap::BeforeStart());
  EXPECT_EQ(map.m_current, nullptr);
  EXPECT_TRUE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "ab");
  EXPECT_FALSE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "a");
  key = "untouched";
  EXPECT_FALSE(map.GetNextEntry(key, value)) << "past the end";
  EXPECT_STREQ(key, "untouched");

  // Removing the entry that comes next moves the cursor past it.
  map["b"] = 3;  // bucket 13
  map.Rewind();
  EXPECT_TRUE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "ab");
  EXPECT_TRUE(map.RemoveKey("a"));
  EXPECT_FALSE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "b");

  // Removing the current entry by key forgets it: a later RemoveCurrent
  // must not hit the entry that reuses its place.
  EXPECT_TRUE(map.RemoveKey("b"));
  EXPECT_EQ(map.m_current, nullptr);
  map["b"] = 3;
  map.RemoveCurrent();
  EXPECT_EQ(ValueOf(map, "b"), 3u);

  // A map emptied after Rewind delivers nothing.
  map.Rewind();
  map.RemoveKey("ab");
  map.RemoveKey("b");
  key = "untouched";
  EXPECT_FALSE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "untouched");

  // RemoveAll ends a walk in progress.
  map["c"] = 4;
  map["d"] = 5;
  map.Rewind();
  map.GetNextEntry(key, value);
  map.RemoveAll();
  key = "untouched";
  EXPECT_FALSE(map.GetNextEntry(key, value));
  EXPECT_STREQ(key, "untouched");
}

TEST(PIMapTest, OwnLockIsKept) {
  TextMap map;
  NullLocking* const own = map.GetLock();
  EXPECT_NE(own, nullptr);
  NullLocking external;
  map.SetLock(&external);
  EXPECT_EQ(map.GetLock(), own);
}

}  // namespace
