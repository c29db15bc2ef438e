#include "file/PDEnvInformation.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

// Sets or unsets HOME for one scope.
struct HomeGuard {
  std::string saved;
  bool wasSet;
  explicit HomeGuard(char const* home) : wasSet(std::getenv("HOME") != nullptr) {
    if (wasSet) saved = std::getenv("HOME");
    home != nullptr ? setenv("HOME", home, 1) : unsetenv("HOME");
  }
  ~HomeGuard() { wasSet ? setenv("HOME", saved.c_str(), 1) : unsetenv("HOME"); }
};

TEST(PDEnvInformationTest, HomeIsTheVariableOrTmp) {
  for (char const* home : {"/home/u", "", static_cast<char const*>(nullptr)}) {
    HomeGuard guard(home);
    EXPECT_STREQ(PDEnvInformation::GetHomePath(), home != nullptr ? home : "/tmp");
  }
}

TEST(PDEnvInformationTest, ConfigPathIsBuiltOnceFromTheFirstHome) {
  delete[] PDEnvInformation::s_configPath;  // forget any earlier first call
  PDEnvInformation::s_configPath = nullptr;
  char const* first;
  {
    HomeGuard guard(nullptr);
    first = PDEnvInformation::GetConfigPath();
    EXPECT_STREQ(first, "/tmp/.7loom");
  }
  HomeGuard guard("/elsewhere");
  EXPECT_EQ(PDEnvInformation::GetConfigPath(), first);
  EXPECT_EQ(PDEnvInformation::s_configPath, first);
  EXPECT_STREQ(first, "/tmp/.7loom");
}

}  // namespace
