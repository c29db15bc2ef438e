#!/usr/bin/env bash
# The library's main job for now: builds it and runs the thread demo.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTEVROL_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo --target thread_demo
./build/demo/examples/thread_demo/thread_demo
