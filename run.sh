#!/usr/bin/env bash
# From a fresh Debian machine to the open control panel, in Wine's own control.exe.
#   ./run.sh [--page N] [--lang en|ru]     N as the shell counts pages: 0 General, 1 Hardware, 2 Service, 3 Advanced,
#                                          4 Algorithms, 5 Security, 6 Winlogon, 7 TLS Settings
# Without a display it writes a picture of every page in both languages into build/shots instead.
set -euo pipefail
cd "$(dirname "$0")"

page='' lang=''
while [ $# -gt 0 ]; do
  case "$1 ${2:-}" in
    "--page "[0-7]) page=$2; shift 2 ;;
    "--lang en") lang=1033; shift 2 ;;
    "--lang ru") lang=1049; shift 2 ;;
    *) echo "usage: run.sh [--page 0..7] [--lang en|ru]" >&2; exit 2 ;;
  esac
done

tools/setup.sh
tools/build.sh

. tools/prefix.sh
prepare
prefix=$PWD/build/prefix-display
if [ ! -d "$prefix" ] || [ build/prefix/.registered -nt "$prefix/.registered" ]; then
  WINDOW_MANAGER=yes display "$prefix"
fi
VESTRA_PREFIX=$prefix tools/demo.sh
if [ -z "${DISPLAY:-}" ]; then exec tools/shots.sh ${page:+--page "$page"} ${lang:+--lang "$lang"}; fi

export VESTRA_PREFIX=$prefix
if [ "$lang" = 1033 ]; then export VESTRA_UI=en; fi
wine_environment
if [ -n "$lang" ]; then "$wine" build/bin/softcsp.exe store put '\local\Language' "$lang"; fi
if [ -n "$page" ]; then "$wine" build/bin/panel.exe page "$page" & fi
echo "run: opening the control panel"
"$wine" control.exe "$(windows_path build/bin/vestra.cpl)"
