#!/usr/bin/env bash
# Lets the fuzzers search: fuzz.sh [SECONDS] [NAME…], 60 seconds and all of tests/fuzz by default. What they find new
# stays in build/fuzz; an input that breaks a parser lies there as NAME-crash-…, and the exit code isn't 0.
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
    echo "fuzz: $name is broken" >&2
    exit 1
  fi
  echo "fuzz: $name took $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs"
done
