#!/usr/bin/env bash
# Line and branch coverage of src/ by all unit tests. Builds with coverage on
# top of AddressSanitizer and UndefinedBehaviorSanitizer (as the CI does, so
# one build serves both), runs every test, and writes
#   <dir>/coverage.html (with a page per file) and <dir>/coverage.txt.
#   tools/coverage.sh [build-dir]                build, test, report
#   tools/coverage.sh --report-only build-dir    report on tests already run
# (default build/coverage; needs gcovr). TEVROL_COVERAGE_MIN_LINES=N makes it
# fail when line coverage is below N percent. The totals come last.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-2}
report_only=0
if [ "${1:-}" = "--report-only" ]; then
  report_only=1
  shift
fi
dir=${1:-build/coverage}

if [ $report_only -eq 0 ]; then
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DTEVROL_SANITIZE=address,undefined -DTEVROL_BUILD_EXAMPLES=OFF \
    -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" \
    -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
  cmake --build "$dir" -j"$jobs"
  find "$dir" -name '*.gcda' -delete
  (cd "$dir" && ASAN_OPTIONS=detect_leaks=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest -j"$jobs" --timeout 600 \
    --output-on-failure)
fi

# CMake's probe of the compiler leaves notes without data or source.
find "$dir/CMakeFiles" -path '*CompilerId*' -name '*.gcno' -delete 2>/dev/null || true

# Branches that the compiler adds for exceptions and checks it proves
# unreachable are not ours. Only the notes of this build count: gcovr would
# otherwise merge every coverage build it finds below the root.
gcovr --root . --filter 'src/' --object-directory "$dir" \
  --exclude-throw-branches --exclude-unreachable-branches \
  --html-details "$dir/coverage.html" --txt "$dir/coverage.txt" \
  ${TEVROL_COVERAGE_MIN_LINES:+--fail-under-line "$TEVROL_COVERAGE_MIN_LINES"} \
  --print-summary "$dir"
