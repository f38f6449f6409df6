#!/usr/bin/env bash
# Configures and builds the given targets, or everything; output in build/bin.
set -euo pipefail
cd "$(dirname "$0")/.."

# For ccache: file names relative to the repository, so that builds in other directories share the cache, and the
# settings without which it does not cache compilations that use a precompiled header.
export CCACHE_BASEDIR=$PWD CCACHE_SLOPPINESS=pch_defines,time_macros

mkdir -p build
exec 9>build/.lock && flock 9   # two builds in one directory would overwrite each other's log
if [ ! -f build/windows/build.ninja ]; then
  echo "build: configuring"
  cmake --preset windows >build/configure.log 2>&1 || { cat build/configure.log >&2; echo "build: configuring failed" >&2; exit 1; }
fi
cmake --build --preset windows ${1:+--target "$@"} || { echo "build: failed" >&2; exit 1; }
