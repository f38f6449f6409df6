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
exec "$wine" "$@"
