#!/usr/bin/env bash
# Installs the Debian packages the build needs, if missing. Safe to run again.
#   scripts/install-deps.sh            what building and running the demo needs
#   scripts/install-deps.sh --all      also tests, benchmarks, ARM cross build, format check,
#                                      fuzzing, static analysis, coverage, the ABI check and
#                                      the Debian packages
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config)
if [ "${1:-}" = "--all" ]; then
  packages+=(googletest libgtest-dev libgmock-dev libbenchmark-dev libglib2.0-dev clang-format
             g++-arm-linux-gnueabihf qemu-user clang libclang-rt-14-dev clang-tidy gcovr
             abigail-tools dpkg-dev file)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
elif command -v sudo >/dev/null 2>&1; then
  sudo apt-get update -qq
  sudo DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
else
  echo "Missing packages and no root: apt-get install ${missing[*]}" >&2
  exit 1
fi
