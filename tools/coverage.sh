#!/usr/bin/env bash
# Line and branch coverage of src/ by all unit tests. Builds with coverage on
# top of AddressSanitizer and UndefinedBehaviorSanitizer (as the CI does, so
# one build serves both), runs every test, and writes
#   <dir>/coverage.html (with a page per file) and <dir>/coverage.txt.
# Usage: tools/coverage.sh [build-dir]   (default build/coverage; needs gcovr)
# Prints the two totals last: "lines: N.N%" and "branches: N.N%".
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build/coverage}
jobs=${JOBS:-2}

flags="--coverage -fprofile-update=atomic"
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTEVROL_SANITIZE=address,undefined \
  -DTEVROL_BUILD_EXAMPLES=OFF -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS=--coverage \
  -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$dir" -j"$jobs"
find "$dir" -name '*.gcda' -delete
(cd "$dir" && GTEST_DEATH_TEST_STYLE=threadsafe ASAN_OPTIONS=detect_leaks=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest -j"$jobs" --output-on-failure --timeout 600)

# Branches that the compiler adds for exceptions and sanitizer checks are not
# ours: --exclude-throw-branches and --exclude-unreachable-branches drop them.
gcovr --root . --filter 'src/' --object-directory "$dir" -j "$jobs" \
  --exclude-throw-branches --exclude-unreachable-branches \
  --html-details "$dir/coverage.html" --txt "$dir/coverage.txt" \
  --print-summary | tee "$dir/coverage-summary.txt"
