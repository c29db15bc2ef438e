// A work loop and the literal steps of its queues, side by side: hand-overs
// at priorities from a small set, from the whole 32-bit range and near the
// ceiling; passes; cancels, removals and shutdowns, also from inside Execute;
// delayed tasks across the tick wrap; queue ids that repeat. Every result, the
// queues in order and every Execute and Dispose must agree.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "FuzzCheck.h"
#include "workloop/WorkLoopDifferential.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  const std::string error = WorkLoopDifferential::Play(data, size);
  if (!error.empty()) std::fprintf(stderr, "%s\n", error.c_str());
  FUZZ_CHECK(error.empty());
  return 0;
}
