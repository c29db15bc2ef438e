#!/bin/sh
# The loop_health example's trace and its picture, checked with python3:
#   check_loop_health.sh FOLDER [check_trace.py options]...
# FOLDER holds trace.json and trace.svg (tools/RunLoopHealth.cmake). Exit 77,
# which CTest counts as skipped, when python3 is missing.
set -e
if ! command -v python3 >/dev/null 2>&1; then
  echo "python3 not found: the trace and the picture are not checked"
  exit 77
fi
tools=$(cd "$(dirname "$0")" && pwd)
cd "$1"
shift
python3 - trace.svg <<'PY'
import sys
import xml.etree.ElementTree as ElementTree
root = ElementTree.parse(sys.argv[1]).getroot()
assert root.tag == "{http://www.w3.org/2000/svg}svg", root.tag
print(f"{sys.argv[1]}: well-formed SVG, {sum(1 for _ in root.iter())} elements")
PY
python3 "$tools/check_trace.py" trace.json "$@"
