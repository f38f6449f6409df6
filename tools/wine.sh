#!/usr/bin/env bash
# Runs a Windows program without a display in the prepared prefix; its exit code is passed on (Wine keeps 8 bits).
# VESTRA_PREFIX names another prefix, VESTRA_ANSI=1252 another code page.
[ $# -gt 0 ] || { echo "usage: wine.sh PROGRAM ARGUMENTS..." >&2; exit 2; }
. "$(dirname "${BASH_SOURCE[0]}")/prefix.sh"
slot=${CTEST_RESOURCE_GROUP_0_PREFIXES:-}   # "id:N,slots:1": which of the tests' prefixes is this test's
if [ -n "$slot" ]; then
  slot=${slot#id:}
  VESTRA_PREFIX=$house/build/prefix-test-${slot%%,*}
fi
[ -n "${VESTRA_PREFIX:-}" ] || prepare
wine_environment
unset DISPLAY
start_server
exec "$wine" "$@"
