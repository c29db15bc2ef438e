#include "config/ConfigSystemImpl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "ConfigTestSupport.h"
#include "frame/Accessors.h"
#include "support/RecordingRunnable.h"
#include "support/StressScale.h"
#include "threads/ThreadHelper.h"
#include "timer/TimerCtrl.h"

namespace {

using Flags = std::pair<bool, bool>;  // m_dirty, m_exportTimerRunning

// Counts Export and Tick; an optional hook runs inside Export.
struct WatchedConfig : ConfigSystemImpl {
  ~WatchedConfig() override { Shutdown(); }
  Tevrol::Long Export() override {
    exports.fetch_add(1);
    if (onExport) onExport();
    return 0;
  }
  void Tick() override {
    ConfigSystemImpl::Tick();
    ticks.fetch_add(1);
  }
  Flags GetFlags() {
    Flags flags;
    GetFlagsForTesting(flags.first, flags.second);
    return flags;
  }
  bool Registered() { return TimerCtrl_GetInstance()->IsRegistered(this); }
  // Makes the pending timer fire now and waits for its Tick.
  bool Fire() {
    const int before = ticks.load();
    SetIntervall(1);
    TimerCtrl_GetInstance()->ChangeTimer(this);
    SetIntervall(kLong);
    return WaitUntil([&] { return ticks.load() > before; });
  }

  static constexpr Tevrol::ULong kLong = 600000;  // never runs out within a test
  std::atomic<int> exports{0};
  std::atomic<int> ticks{0};
  std::function<void()> onExport;  // set before the first change
};

TEST(ConfigSystemImplTest, KindsRetrievesAndDeletes) {
  ConfigSystemImpl store;
  Tevrol::Long number = 5;
  EXPECT_FALSE(store.RetrieveNumericalValue("G", "k", number, 7));
  EXPECT_EQ(number, 7);
  store.StoreStringValue("G", "k", "text");
  EXPECT_FALSE(store.RetrieveNumericalValue("G", "k", number, 8));  // another kind: the default
  EXPECT_EQ(number, 8);
  store.StoreNumericalValue("G", "k", -3);  // the kind follows the last store
  EXPECT_TRUE(store.RetrieveNumericalValue("G", "k", number, 8));
  EXPECT_EQ(number, -3);
  TxString text;
  EXPECT_FALSE(store.RetrieveStringValue("G", "k", text, "def"));
  EXPECT_EQ(text, TxString("def"));
  EXPECT_FALSE(store.RetrieveNumericalValue("g", "k", number, 0));  // names are case-sensitive

  unsigned char bytes[] = {1, 2, 3, 4, 5};
  store.StoreByteArray("G", "b", bytes, 5);
  bytes[0] = 9;  // the store copied them
  unsigned char small[3] = {};
  Tevrol::ULong length = 99;
  EXPECT_TRUE(store.RetrieveByteArray("G", "b", small, 3, length));  // cut, no failure
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(small[0], 1);
  EXPECT_FALSE(store.RetrieveByteArray("G", "k", small, 3, length));
  EXPECT_EQ(length, 0u);
  unsigned char* data = nullptr;
  unsigned char fallback[1] = {0};
  EXPECT_TRUE(store.RetrieveByteArray("G", "b", data, length, fallback, 1));
  ASSERT_EQ(length, 5u);
  EXPECT_NE(data, fallback);
  EXPECT_EQ(data[4], 5);
  delete[] data;
  EXPECT_FALSE(store.RetrieveByteArray("G", "missing", data, length, fallback, 1));
  EXPECT_EQ(data, fallback);
  EXPECT_EQ(length, 1u);
  store.StoreByteArray("G", "z", nullptr, 2);  // no source: that many zero bytes
  EXPECT_TRUE(store.RetrieveByteArray("G", "z", small, 3, length));
  EXPECT_EQ(length, 2u);
  EXPECT_EQ(small[0] | small[1], 0);
  EXPECT_TRUE(store.DeleteValue("G", "z"));

  EXPECT_TRUE(store.CreateGroup("New"));  // makes nothing
  EXPECT_EQ(store.CreateKeyDataContainer("Kind0", "k")->GetValueKind(), 0);
  EXPECT_EQ(Dump(store), "G/b=h:0102030405 G/k=n:-3 Kind0/k=none");
  EXPECT_FALSE(store.GetFirstKey("G", text));
  EXPECT_FALSE(store.GetNextKey("G", text));

  EXPECT_FALSE(store.DeleteValue("G", "missing"));
  EXPECT_FALSE(store.DeleteValue("Missing", "k"));
  EXPECT_TRUE(store.DeleteValue("G", "k"));
  EXPECT_TRUE(store.DeleteValue("G", "b"));
  EXPECT_EQ(Dump(store), "G/ Kind0/k=none");  // the group stays, empty
  store.StoreNumericalValue("G", "k", 1);
  EXPECT_EQ(Dump(store), "G/k=n:1 Kind0/k=none");
  store.Shutdown();
  EXPECT_EQ(Dump(store), "");
  store.Shutdown();  // twice is harmless
}

// A value stored again from the key's own storage, whole or in part, and a
// byte array read back into that storage arrive whole: the old value goes
// only after the new one is copied.
TEST(ConfigSystemImplTest, ValuesFromTheKeysOwnStorageArriveWhole) {
  ConfigSystemImpl store;
  unsigned char bytes[64];
  for (unsigned i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<unsigned char>(i + 1);
  auto const chunk = [&] {
    unsigned char* data = nullptr;
    Tevrol::ULong size = 0;
    store.GetKeyDataContainer("G", "b")->GetDataChunk(data, size);
    return std::pair<unsigned char*, Tevrol::ULong>(data, size);
  };
  auto const stored = [&] {
    auto const [data, size] = chunk();
    return std::vector<unsigned char>(data, data + size);
  };
  std::vector<unsigned char> expected(bytes, bytes + sizeof bytes);
  store.StoreByteArray("G", "b", bytes, sizeof bytes);
  // Rows: offset into the stored chunk and length of the source.
  for (auto const& [offset, length] : {std::pair<Tevrol::ULong, Tevrol::ULong>{0, 64},
                                       {0, 64},
                                       {8, 40},
                                       {0, 32},
                                       {31, 1},
                                       {0, 0}}) {
    SCOPED_TRACE(std::to_string(offset) + "+" + std::to_string(length));
    expected =
        std::vector<unsigned char>(expected.begin() + offset, expected.begin() + offset + length);
    EXPECT_TRUE(store.StoreByteArray("G", "b", chunk().first + offset, length));
    EXPECT_EQ(stored(), expected);
  }
  store.StoreByteArray("G", "b", bytes, sizeof bytes);
  Tevrol::ULong length = 0;
  EXPECT_TRUE(store.RetrieveByteArray("G", "b", chunk().first, 64, length));
  EXPECT_EQ(stored(), std::vector<unsigned char>(bytes, bytes + 64));
  EXPECT_TRUE(store.RetrieveByteArray("G", "b", chunk().first + 1, 63, length));
  EXPECT_EQ(length, 63u);
  expected.assign(bytes, bytes + 64);
  expected.insert(expected.begin() + 1, bytes, bytes + 63);
  expected.resize(64);
  EXPECT_EQ(stored(), expected);

  // Texts and names taken from the object they are given to.
  store.SetAppName("app");
  store.SetAppName(store.GetAppName());
  store.SetPersistentStorageFolder("/folder");
  store.SetPersistentStorageFolder(store.GetPersistentStorageFolder());
  EXPECT_EQ(store.GetAppName(), TxString("app"));
  EXPECT_EQ(store.GetPersistentStorageFolder(), TxString("/folder"));
  ConfigKeyDataContainer alone;
  alone.SetKeyName("prefix.key");
  alone.SetKeyName(alone.GetKeyName() + 7);
  EXPECT_STREQ(alone.GetKeyName(), "key");
  alone.SetKeyName(alone.GetKeyName());
  EXPECT_STREQ(alone.GetKeyName(), "key");
  store.Shutdown();
}

// The flags and the timer of a change, seen through the timer service.
TEST(ConfigSystemImplTest, ChangeCycle) {
  WatchedConfig config;
  config.SetIntervall(WatchedConfig::kLong);
  EXPECT_EQ(config.GetFlags(), Flags(false, false));
  config.StoreNumericalValue("G", "n", 1);
  EXPECT_EQ(config.GetFlags(), Flags(true, true));
  ASSERT_TRUE(config.Registered());
  const Tevrol::ULong deadline = config.GetTimeout();
  config.StoreNumericalValue("G", "n", 2);  // no new timer: the first change counts
  EXPECT_EQ(config.GetTimeout(), deadline);
  ThreadHelper::Sleep(2);
  config.StoreNumericalValue("G", "m", 3);
  EXPECT_EQ(config.GetTimeout(), deadline);

  config.Flush();
  config.Flush();
  EXPECT_EQ(config.exports.load(), 1);
  EXPECT_EQ(config.GetFlags(), Flags(false, true));  // the timer runs out
  EXPECT_TRUE(config.Registered());
  ASSERT_TRUE(config.Fire());
  EXPECT_EQ(config.exports.load(), 1);  // nothing left for the Tick
  EXPECT_EQ(config.GetFlags(), Flags(false, false));
  EXPECT_FALSE(config.Registered());

  // Equal stores start nothing; byte arrays, empty texts and deletes always count.
  unsigned char bytes[] = {1, 2};
  config.StoreByteArray("G", "b", bytes, 2);
  config.StoreStringValue("G", "e", "");
  config.StoreStringValue("G", "s", "y");
  config.StoreStringValue("G", "t", "x");
  ASSERT_TRUE(config.Fire());
  const std::function<void()> changes[] = {
      [&] { config.StoreByteArray("G", "b", bytes, 2); },
      [&] { config.StoreStringValue("G", "e", ""); },
      [&] { config.DeleteValue("G", "t"); },
  };
  for (auto const& change : changes) {
    const int exports = config.exports.load();
    config.StoreNumericalValue("G", "n", 2);
    config.StoreStringValue("G", "s", "y");
    config.DeleteValue("G", "missing");
    config.CreateKeyDataContainer("G", "c")->SetNumericalValue(9);  // no change of the store
    EXPECT_EQ(config.GetFlags(), Flags(false, false));
    EXPECT_FALSE(config.Registered());
    change();
    EXPECT_EQ(config.GetFlags(), Flags(true, true));
    ASSERT_TRUE(config.Fire());
    EXPECT_EQ(config.exports.load(), exports + 1);
    EXPECT_EQ(config.GetFlags(), Flags(false, false));
  }

  // Shutdown: Export of the pending change, an empty store, no timer; a
  // store afterwards starts a new one.
  config.StoreNumericalValue("G", "n", 6);
  const int exports = config.exports.load();
  config.Shutdown();
  EXPECT_EQ(config.exports.load(), exports + 1);
  EXPECT_EQ(config.GetFlags(), Flags(true, false));
  EXPECT_FALSE(config.Registered());
  EXPECT_EQ(Dump(config), "");
  config.StoreNumericalValue("G", "n", 6);
  EXPECT_EQ(config.GetFlags(), Flags(true, true));
  EXPECT_TRUE(config.Registered());
  ASSERT_TRUE(config.Fire());
  EXPECT_EQ(config.GetFlags(), Flags(false, false));
}

TEST(ConfigSystemImplTest, ShutdownWaitsForARunningTick) {
  WatchedConfig config;
  Gate inExport, release;
  std::atomic<bool> hold{true};
  config.onExport = [&] {
    if (hold.exchange(false)) {
      inExport.Open();
      release.Wait();
    }
  };
  config.SetIntervall(0);
  config.StoreNumericalValue("G", "n", 1);
  ASSERT_TRUE(inExport.Wait());
  std::atomic<bool> done{false};
  std::thread shutdown([&] {
    config.Shutdown();
    done.store(true);
  });
  ThreadHelper::Sleep(50);
  EXPECT_FALSE(done.load());
  release.Open();
  shutdown.join();
  EXPECT_EQ(config.ticks.load(), 1);
  EXPECT_EQ(config.exports.load(), 1);  // the Tick took the change
  EXPECT_EQ(config.GetFlags(), Flags(false, false));
  EXPECT_FALSE(config.Registered());
  EXPECT_EQ(Dump(config), "");
}

// One thread stores (each store a change) and flushes while the timer ticks
// at once after each first change. No change is lost: once the cycle is
// quiet, the last Export saw the last store; the flags never show a change
// without a timer.
TEST(ConfigSystemImplTest, StoresRacingTicksLoseNoChange) {
  WatchedConfig config;
  std::atomic<int> version{0}, exported{-1};
  config.onExport = [&] { exported.store(version.load()); };
  config.SetIntervall(0);
  const int rounds = 3000 / kStressScale;
  int broken = 0;
  for (int i = 1; i <= rounds; ++i) {
    version.store(i);
    config.StoreNumericalValue("G", "n", i);
    if (i % 7 == 0) config.Flush();
    const Flags flags = config.GetFlags();
    if (flags.first && !flags.second) ++broken;
    if (i % 500 == 0) config.SetIntervall(static_cast<Tevrol::ULong>(i / 500 % 2));
  }
  EXPECT_EQ(broken, 0);
  ASSERT_TRUE(WaitUntil([&] { return config.GetFlags() == Flags(false, false); }));
  EXPECT_EQ(exported.load(), rounds);
  EXPECT_FALSE(config.Registered());
  EXPECT_GT(config.ticks.load(), 0);
}

}  // namespace
