#!/usr/bin/env bash
# From a fresh Debian machine to all tests passed. Arguments go to ctest (-R NAME, -V, …).
set -euo pipefail
cd "$(dirname "$0")"

tools/setup.sh
tools/build.sh
# The tests change what is registered and stored, so each run has a prefix of its own.
tools/prefix.sh copy build/prefix-test
export VESTRA_PREFIX=$PWD/build/prefix-test
echo "test: running"
ctest --preset windows -j "$(nproc)" "$@"
