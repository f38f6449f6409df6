#!/usr/bin/env bash
# Runs a Windows program without a display in the prepared prefix and passes its exit code on (Wine keeps 8 bits).
# VESTRA_PREFIX selects another prefix, VESTRA_ANSI=1252 another code page.
[ $# -gt 0 ] || { echo "usage: wine.sh PROGRAM ARGUMENTS..." >&2; exit 2; }
. "$(dirname "${BASH_SOURCE[0]}")/prefix.sh"
slot=${CTEST_RESOURCE_GROUP_0_PREFIXES:-}   # "id:N,slots:1": the number of the prefix that ctest assigned to this test
if [ -n "$slot" ]; then
  slot=${slot#id:}
  VESTRA_PREFIX=$repository/build/prefix-test-${slot%%,*}
fi
[ -n "${VESTRA_PREFIX:-}" ] || prepare
wine_environment
unset DISPLAY
start_server
[ -p /dev/stdout ] || [ -p /dev/stderr ] || exec "$wine" "$@"

# The program may start Wine's desktop, which inherits its output and ends a second after the last program. Whoever
# reads a pipe would wait for that, so the output goes to the pipe through a file.
output=$(mktemp) errors=$(mktemp)
code=0
if [ /dev/stdout -ef /dev/stderr ]; then
  "$wine" "$@" >"$output" 2>&1 || code=$?
else
  "$wine" "$@" >"$output" 2>"$errors" || code=$?
fi
cat "$output"
cat "$errors" >&2
rm -f "$output" "$errors"
exit $code
