#!/usr/bin/env bash
# The library's main job: builds it with its configuration tool and shows what
# the configuration store reads from the two example folders. Safe to run again.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTEVROL_BUILD_TESTS=OFF \
  -DTEVROL_BUILD_TOOLS=ON >/dev/null
cmake --build build/demo --target tevrol_config
tool=build/demo/tools/tevrol_config

echo
echo "=== examples/config_good: every header and key line is read as written (exit 0) ==="
"$tool" --lines examples/config_good
echo "exit status: 0"

# The tool fails on purpose here: that non-zero exit is what it is for.
echo
echo "=== examples/config_mistakes: the classic mistakes (exit 1 expected) ==="
status=0
"$tool" --lines examples/config_mistakes || status=$?
echo "exit status: $status (expected: 1)"
if [ "$status" -ne 1 ]; then
  echo "run-demo: the mistakes example should exit with 1, not $status" >&2
  exit 1
fi
