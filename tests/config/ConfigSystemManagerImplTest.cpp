#include "config/ConfigSystemManagerImpl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "frame/Accessors.h"
#include "timer/TimerCtrl.h"

namespace {

TEST(ConfigSystemManagerImplTest, OneSystemANameMadeOnce) {
  ConfigSystemManager* const manager = ConfigSystemManager_GetInstance();
  EXPECT_EQ(manager, ConfigSystemManager_GetInstance());
  EXPECT_EQ(manager->GetConfigSystem(nullptr), nullptr);
  std::vector<ConfigSystem*> seen(4, nullptr);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < seen.size(); ++t) {
    threads.emplace_back([&, t] {
      std::string name = "shared";  // the manager keeps a copy of the text
      seen[t] = manager->GetConfigSystem(name.c_str());
      name[0] = 'X';
    });
  }
  for (auto& thread : threads) thread.join();
  for (ConfigSystem* system : seen) EXPECT_EQ(system, seen[0]);
  ASSERT_NE(seen[0], nullptr);
  EXPECT_EQ(manager->GetConfigSystem("shared"), seen[0]);
  ConfigSystem* const empty = manager->GetConfigSystem("");
  ASSERT_NE(empty, nullptr);
  EXPECT_NE(empty, seen[0]);
  // A new system is empty and reads nothing by itself.
  EXPECT_EQ(empty->GetKeyDataContainer("", ""), nullptr);
  EXPECT_TRUE(empty->GetPersistentStorageFolder().IsEmpty());
  EXPECT_EQ(empty->GetIntervall(), 10000u);
  EXPECT_FALSE(empty->GetCyclic());
}

// The child: two systems with pending changes and running timers.
void ExitWithPendingChanges() {
  ConfigSystemManager* const manager = ConfigSystemManager_GetInstance();
  unsigned char bytes[] = {1, 2, 3};
  for (char const* name : {"a", "b"}) {
    ConfigSystem* const system = manager->GetConfigSystem(name);
    system->StoreByteArray("G", "b", bytes, 3);
    system->StoreStringValue("G", "s", "text");
    if (!TimerCtrl_GetInstance()->IsRegistered(system)) std::_Exit(2);
  }
  std::exit(0);
}

// At exit every system is shut down before the timer service goes: pending
// changes and running timers neither block the exit nor fire (nor leak).
TEST(ConfigSystemManagerDeathTest, ExitWithPendingChangesAndRunningTimers) {
  EXPECT_EXIT(ExitWithPendingChanges(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
