#include "names/TevrolIdProviderImpl.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "frame/Accessors.h"

namespace {

char const* Text(Tevrol::Word id) {
  return reinterpret_cast<char const*>(id);
}

TEST(TevrolIdProviderImplTest, ThePointerDecidesNotTheText) {
  TevrolIdProviderImpl provider;
  char buffer[16] = "Radio";
  char const other[] = "Radio";
  const Tevrol::Word first = provider.AddName(buffer);
  EXPECT_STREQ(Text(first), "Radio");
  EXPECT_NE(Text(first), buffer);  // a private copy
  EXPECT_NE(provider.AddName(other), first);

  // A reused pointer keeps the id and the text of its first use.
  std::strcpy(buffer, "Tuner");
  EXPECT_EQ(provider.AddName(buffer), first);
  EXPECT_STREQ(Text(first), "Radio");

  // GetTevrolId gives back the key, the pointer once handed in; the first in
  // iteration order wins among equal texts.
  const Tevrol::Word found = provider.GetTevrolId("Radio");
  EXPECT_TRUE(found == reinterpret_cast<Tevrol::Word>(buffer) ||
              found == reinterpret_cast<Tevrol::Word>(other));
  EXPECT_EQ(provider.GetTevrolId("Tuner"), 0u);
}

TEST(TevrolIdProviderImplTest, NullAndEmptyShareOneIdThatIsNeverFoundByThem) {
  TevrolIdProviderImpl provider;
  EXPECT_EQ(provider.GetTevrolId("anything"), 0u);  // empty registry
  const Tevrol::Word null = provider.AddName(nullptr);
  EXPECT_EQ(provider.AddName(""), null);
  EXPECT_STREQ(Text(null), "NULL_name");
  EXPECT_EQ(provider.GetTevrolId(nullptr), 0u);
  EXPECT_EQ(provider.GetTevrolId(""), 0u);
  EXPECT_NE(provider.GetTevrolId("NULL_name"), 0u);
}

TEST(TevrolIdProviderImplTest, ConcurrentCallersShareOneIdPerPointer) {
  static char const* const kNames[] = {"a", "b", "c", "d"};
  TevrolIdProvider* provider = TevrolIdProvider_GetInstance();
  EXPECT_EQ(provider, TevrolIdProvider_GetInstance());
  std::vector<std::vector<Tevrol::Word>> ids(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        ids[t].push_back(provider->AddName(kNames[i % 4]));
        provider->GetTevrolId(kNames[(i + 1) % 4]);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 1; t < 4; ++t) EXPECT_EQ(ids[t], ids[0]);
}

}  // namespace
