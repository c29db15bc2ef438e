// The main of the test executables. Death tests run in the "threadsafe"
// style: the child runs the executable again up to its one test, so it has
// none of the threads that earlier tests left (a forked copy of a process
// whose timer thread runs would wait at exit for a thread it does not have).
// Under the ARM emulator a program cannot exec another, so a cross-built
// test, or one that the emulator runs (TEST_EMULATOR is set), uses "fast"
// instead: the *DeathTest suites then run first, before any thread exists.
// --gtest_death_test_style on the command line still decides.
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
#if defined(TEVROL_TEST_UNDER_EMULATOR)
  bool const emulated = true;
#else
  bool const emulated = std::getenv("TEST_EMULATOR") != nullptr;
#endif
  GTEST_FLAG_SET(death_test_style, emulated ? "fast" : "threadsafe");
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
