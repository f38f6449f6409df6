#!/usr/bin/env bash
# From a fresh Debian machine to all tests passed. Arguments go to ctest (-R NAME, -V, …).
set -euo pipefail
cd "$(dirname "$0")"

tools/setup.sh
tools/build.sh
# The tests change the registry and the configuration store, so each of those that run at the same time has a Wine
# prefix to itself, which ctest assigns by number.
jobs=${VESTRA_TEST_JOBS:-$(nproc)}
numbers=
for ((number = 1; number <= jobs; ++number)); do
  tools/prefix.sh copy "build/prefix-test-$number"
  numbers+="${numbers:+,}{\"id\":\"$number\"}"
done
printf '{"version":{"major":1,"minor":0},"local":[{"prefixes":[%s]}]}\n' "$numbers" >build/prefixes.json
export VESTRA_PREFIX=$PWD/build/prefix-test-1   # in which the programs list their tests
echo "test: running"
ctest --preset windows -j "$jobs" --resource-spec-file "$PWD/build/prefixes.json" "$@"
