#!/usr/bin/env bash
# Pictures of the control panel's pages in both languages, from Wine's control.exe on a display of its own, as
# build/shots/LANGUAGE-N-NAME.png.
#   shots.sh [--page N] [--lang 1033|1049]     only this page (from 0), only this language
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/prefix.sh

only_page='' only_lang=''
while [ $# -gt 0 ]; do
  case "$1" in
    --page) only_page=$2 ;;
    --lang) only_lang=$2 ;;
    *) echo "usage: shots.sh [--page N] [--lang 1033|1049]" >&2; exit 2 ;;
  esac
  shift 2
done

names=(general hardware service advanced algorithms security winlogon tls)
prepare
display build/prefix-shots
export VESTRA_PREFIX=$PWD/build/prefix-shots
wine_environment

# Xvfb chooses a free display number and tells it.
numbers=$(mktemp)
Xvfb -displayfd 3 -screen 0 1024x768x24 3>"$numbers" >/dev/null 2>&1 &
xvfb=$!
trap '"$server" -k 2>/dev/null || true; kill $xvfb 2>/dev/null || true; rm -f "$numbers"' EXIT
for _ in $(seq 200); do [ -s "$numbers" ] && break; sleep 0.05; done
[ -s "$numbers" ] || { echo "shots: no display could be started" >&2; exit 1; }
DISPLAY=:$(cat "$numbers")
export DISPLAY

# Wine draws into the X server's window a moment after the program has painted: wait until the picture stands still.
picture() {
  local before='' now=''
  for _ in $(seq 40); do
    import -window root -silent "$1"
    now=$(convert "$1" rgb:- | sha256sum)
    [ "$now" = "$before" ] && break
    before=$now
    sleep 0.1
  done
  convert "$1" -trim +repage -bordercolor '#000' "$1"
}

mkdir -p build/shots
start_server
for lang in en:1033 ru:1049; do
  [ -z "$only_lang" ] || [ "$only_lang" = "${lang#*:}" ] || continue
  VESTRA_UI=${lang%:*} wine_environment
  "$wine" build/bin/softcsp.exe store put '\local\Language' "${lang#*:}"
  "$wine" control.exe "$(windows_path build/bin/vestra.cpl)" >/dev/null 2>&1 &
  for page in "${!names[@]}"; do
    [ -z "$only_page" ] || [ "$only_page" = "$page" ] || continue
    "$wine" build/bin/panel.exe page "$page"
    picture "build/shots/${lang%:*}-$page-${names[$page]}.png"
  done
  "$wine" build/bin/panel.exe close
done
echo "shots: no display here, so there are pictures of the pages in build/shots"
