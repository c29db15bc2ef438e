#include "file/PDEnvInformation.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// HOME stays changed afterwards: nothing else in these tests reads it.
TEST(PDEnvInformationTest, ConfigPathIsBuiltOnceFromTheFirstHome) {
  delete[] PDEnvInformation::s_configPath;  // forget any earlier first call
  PDEnvInformation::s_configPath = nullptr;
  unsetenv("HOME");
  char const* const first = PDEnvInformation::GetConfigPath();
  setenv("HOME", "", 1);  // set but empty counts as set
  EXPECT_STREQ(PDEnvInformation::GetHomePath(), "");
  EXPECT_EQ(PDEnvInformation::GetConfigPath(), first);
  EXPECT_STREQ(first, "/tmp/.7loom");
}

}  // namespace
