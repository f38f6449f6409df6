#!/usr/bin/env bash
# From a fresh Debian machine to all tests passed. Arguments go to ctest (-R NAME, -V, …).
set -euo pipefail
cd "$(dirname "$0")"

tools/setup.sh
tools/build.sh
# The tests change what is registered and stored, so each run has prefixes of its own, and each of the tests that run
# at the same time has one to itself: ctest hands them out by their numbers.
# One at a time unless VESTRA_TEST_JOBS says more, which is faster, but on loaded machines a test failed now and then.
jobs=${VESTRA_TEST_JOBS:-1}
numbers=
for ((number = 1; number <= jobs; ++number)); do
  tools/prefix.sh copy "build/prefix-test-$number"
  numbers+="${numbers:+,}{\"id\":\"$number\"}"
done
printf '{"version":{"major":1,"minor":0},"local":[{"prefixes":[%s]}]}\n' "$numbers" >build/prefixes.json
export VESTRA_PREFIX=$PWD/build/prefix-test-1   # in which the programs tell what tests they have
echo "test: running"
ctest --preset windows -j "$jobs" --resource-spec-file "$PWD/build/prefixes.json" "$@"
