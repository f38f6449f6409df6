#!/usr/bin/env bash
# Runs the fuzzers: fuzz.sh [SECONDS] [NAME…], by default 60 seconds each and all of tests/fuzz. New inputs are kept in
# build/fuzz. An input that makes a parser fail is written there as NAME-crash-…, and the exit code is not 0.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
names=("$@")
[ ${#names[@]} -gt 0 ] || mapfile -t names < <(basename -s _fuzz.cpp tests/fuzz/*_fuzz.cpp)

for name in "${names[@]}"; do
  tools/build.sh "${name}_fuzz" >/dev/null
  mkdir -p "build/fuzz/$name"
  echo "fuzz: $name for $seconds s"
  log=build/fuzz/$name.log
  if ! build/windows/fuzz/"${name}_fuzz" -max_total_time="$seconds" -print_final_stats=1 \
      -artifact_prefix="build/fuzz/$name-" "build/fuzz/$name" "tests/fuzz/corpus/$name" >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "fuzz: $name failed" >&2
    exit 1
  fi
  echo "fuzz: $name ran $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs"
done
