#!/usr/bin/env bash
# Compares the exported interface of a built libTevrolDLL.so (functions,
# variables and the layout of every type they reach) with the committed
# baseline abi/libTevrolDLL.abi. Any difference fails, additions included, so
# that a change of the interface is a deliberate commit that updates the
# baseline:
#   scripts/check-abi.sh BUILD_DIR            compare (needs abigail-tools)
#   scripts/check-abi.sh BUILD_DIR --update   write the baseline anew
# The build must carry debug information (-g; RelWithDebInfo does).
set -euo pipefail
cd "$(dirname "$0")/.."
lib="$1/src/libTevrolDLL.so"
baseline=abi/libTevrolDLL.abi
[ -e "$lib" ] || { echo "no library at $lib"; exit 1; }

# The dump without the paths of this checkout, so that any clone compares.
dump() {
  abidw --no-corpus-path --no-show-locs --no-comp-dir-path "$1" |
    sed "s#path='$(pwd)/#path='#"
}

if [ "${2:-}" = "--update" ]; then
  dump "$lib" >"$baseline"
  echo "ABI baseline written: $baseline"
  exit 0
fi
current=$(mktemp)
trap 'rm -f "$current"' EXIT
dump "$lib" >"$current"
if abidiff "$baseline" "$current"; then
  echo "ABI: unchanged"
else
  echo "ABI differs from $baseline: if the change is meant, run scripts/check-abi.sh <build> --update and commit the baseline"
  exit 1
fi
