#!/usr/bin/env bash
# Compares the exported interface of the built shared libraries (functions,
# variables and the layout of every type they reach) with the committed
# baselines in abi/: libTevrolDLL.so and the test-support library
# libTevrolTesting.so. Any difference fails, additions included, so that a
# change of an interface is a deliberate commit that updates its baseline:
#   scripts/check-abi.sh BUILD_DIR            compare (needs abigail-tools)
#   scripts/check-abi.sh BUILD_DIR --update   write the baselines anew
# The build must carry debug information (-g; RelWithDebInfo does).
set -euo pipefail
cd "$(dirname "$0")/.."
libraries=("$1/src/libTevrolDLL.so" "$1/src/testing/libTevrolTesting.so")

# The dump without the paths of this checkout, so that any clone compares.
dump() {
  abidw --no-corpus-path --no-show-locs --no-comp-dir-path "$1" |
    sed "s#path='$(pwd)/#path='#"
}

current=$(mktemp)
trap 'rm -f "$current"' EXIT
status=0
for lib in "${libraries[@]}"; do
  [ -e "$lib" ] || { echo "no library at $lib"; exit 1; }
  baseline="abi/$(basename "$lib" .so).abi"
  if [ "${2:-}" = "--update" ]; then
    dump "$lib" >"$baseline"
    echo "ABI baseline written: $baseline"
    continue
  fi
  dump "$lib" >"$current"
  if abidiff "$baseline" "$current"; then
    echo "ABI of $(basename "$lib"): unchanged"
  else
    echo "ABI differs from $baseline: if the change is meant, run scripts/check-abi.sh <build> --update and commit the baseline"
    status=1
  fi
done
exit $status
