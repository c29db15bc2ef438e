#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each one from a copy of its seed
# corpus for a bounded time. Fails on any crash, leak, time-out or mismatch.
#   bash scripts/fuzz.sh [build-dir]          (default build/ci/fuzz, preset "fuzz")
#   TEVROL_FUZZ_SECONDS=600 bash scripts/fuzz.sh
# TEVROL_FUZZ_SECONDS (default 60) is the time of all targets together,
# split evenly; TEVROL_FUZZ_TARGETS="fuzz_path fuzz_wildcard" runs a subset.
# Installs nothing: it needs clang++ and libclang-rt-14-dev (libFuzzer).
# Findings land in <build-dir>/fuzz-artifacts; the repository is not written.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

if ! command -v clang++ > /dev/null 2>&1; then
  echo "fuzz.sh: clang++ not found; install clang and libclang-rt-14-dev (Debian)" >&2
  exit 2
fi

build="${1:-build/ci/fuzz}"
case "$build" in /*) ;; *) build="$root/$build" ;; esac
mkdir -p "$(dirname "$build")"
cmake --preset fuzz -B "$build" > "$build.configure.log" 2>&1 \
  || { cat "$build.configure.log"; exit 1; }
# The targets are listed once, in fuzz/CMakeLists.txt, which writes them here.
mapfile -t all < "$build/fuzz/targets.txt"
targets=(${TEVROL_FUZZ_TARGETS:-${all[*]}})
total="${TEVROL_FUZZ_SECONDS:-60}"
each=$(( total / ${#targets[@]} ))
[ "$each" -ge 1 ] || each=1
# Only the fuzz targets: the shared library does not link with clang's
# sanitizer runtimes.
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

artifacts="$build/fuzz-artifacts"
mkdir -p "$artifacts"
failed=()
for target in "${targets[@]}"; do
  corpus="$build/fuzz-corpus/$target"
  rm -rf "$corpus"
  mkdir -p "$corpus"
  cp -R "$root/fuzz/corpus/$target/." "$corpus/"
  log="$build/fuzz-$target.log"
  echo "== $target: ${each} s"
  if (cd "$build" && "$build/fuzz/$target" -max_total_time="$each" -timeout=25 \
      -rss_limit_mb=2560 -print_final_stats=1 -artifact_prefix="$artifacts/$target-" \
      "$corpus") > "$log" 2>&1; then
    grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -1 || true
  else
    echo "FAILED: $target (log: $log)"
    grep -E 'check failed|ERROR|SUMMARY|Test unit written' "$log" | head -5 || true
    failed+=("$target")
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzzing failed: ${failed[*]}"
  exit 1
fi
echo "fuzzing: ${#targets[@]} targets passed"
