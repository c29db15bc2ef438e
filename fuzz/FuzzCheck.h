#ifndef TEVROL_FUZZ_FUZZCHECK_H
#define TEVROL_FUZZ_FUZZCHECK_H

#include <cstdio>
#include <cstdlib>

// A failed check is a finding: say where and stop, so that libFuzzer keeps
// the input (abort counts as a crash).
#define FUZZ_CHECK(condition)                                                            \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (false)

#endif
