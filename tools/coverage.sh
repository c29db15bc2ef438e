#!/usr/bin/env bash
# Line and branch coverage of src/ by all unit tests. Builds the preset "asan"
# (coverage on top of AddressSanitizer and UndefinedBehaviorSanitizer, so one
# build serves both, as in the CI), runs every test, and writes
#   <dir>/coverage.html (with a page per file) and <dir>/coverage.txt.
#   tools/coverage.sh                            build, test, report in build/ci/asan
#   tools/coverage.sh --report-only build-dir    report on tests already run
# (needs gcovr). TEVROL_COVERAGE_MIN_LINES=N makes it
# fail when line coverage is below N percent. The totals come last.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-$(nproc)}
report_only=0
if [ "${1:-}" = "--report-only" ]; then
  report_only=1
  shift
fi
dir=${1:-build/ci/asan}

if [ $report_only -eq 0 ]; then
  # The CI's sanitizer stage: the preset "asan", in its folder.
  dir=build/ci/asan
  cmake --preset asan >/dev/null
  cmake --build --preset asan -j"$jobs"
  find "$dir" -name '*.gcda' -delete
  ctest --preset asan -j"$jobs"
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
