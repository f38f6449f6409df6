#!/usr/bin/env bash
# Configures and builds; products in build/bin. Arguments go to the build (targets, for example).
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build
if [ ! -f build/windows/build.ninja ]; then
  echo "build: configuring"
  cmake --preset windows >build/configure.log 2>&1 || { cat build/configure.log >&2; echo "build: configuring failed" >&2; exit 1; }
fi
cmake --build --preset windows "$@" || { echo "build: failed" >&2; exit 1; }
