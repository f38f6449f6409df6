#!/usr/bin/env bash
# Configures and builds; products in build/bin. Arguments: only these targets.
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build
exec 9>build/.lock && flock 9   # two builds in one directory would spoil each other's log
if [ ! -f build/windows/build.ninja ]; then
  echo "build: configuring"
  cmake --preset windows >build/configure.log 2>&1 || { cat build/configure.log >&2; echo "build: configuring failed" >&2; exit 1; }
fi
cmake --build --preset windows ${1:+--target "$@"} || { echo "build: failed" >&2; exit 1; }
