#!/usr/bin/env bash
# Pictures of the control panel's pages in both languages, from Wine's control.exe on a display of its own, as
# build/shots/LANGUAGE-N-NAME.png. Each shows the window in front and nothing else.
#   shots.sh [--page N] [--lang 1033|1049]     only this page (from 0), only this language
#   shots.sh --all                             the pages, every wizard's pages, and the dialogs
#   --dpi 144                                  at another resolution than 96
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/prefix.sh

only_page='' only_lang='' all='' dpi=96
while [ $# -gt 0 ]; do
  case "$1" in
    --all) all=yes; shift; continue ;;
    --page) only_page=$2 ;;
    --lang) only_lang=$2 ;;
    --dpi) dpi=$2 ;;
    *) echo "usage: shots.sh [--page N] [--lang 1033|1049] [--dpi N] [--all]" >&2; exit 2 ;;
  esac
  shift 2
done

names=(general hardware service advanced algorithms security winlogon tls)
prepare
display build/prefix-shots
# Smoothed fonts are drawn as wide as they are measured; others are not, and underlines and focus frames miss them.
cat >>build/prefix-shots/user.reg <<REG

[Control Panel\\\\Desktop]
"FontSmoothing"="2"
"FontSmoothingGamma"=dword:00000578
"FontSmoothingOrientation"=dword:00000001
"FontSmoothingType"=dword:00000001
"LogPixels"=dword:$(printf %08x "$dpi")
REG
for font in tahoma tahomabd; do
  rm "build/prefix-shots/drive_c/windows/Fonts/$font.ttf"
  perl /tmp/look/strip.pl </usr/share/wine/fonts/$font.ttf >"build/prefix-shots/drive_c/windows/Fonts/$font.ttf"
done
export VESTRA_PREFIX=$PWD/build/prefix-shots
wine_environment

# Xvfb chooses a free display number and tells it.
numbers=$(mktemp)
Xvfb -displayfd 3 -screen 0 1600x1200x24 3>"$numbers" >/dev/null 2>&1 &
xvfb=$!
trap '"$server" -k 2>/dev/null || true; kill $xvfb 2>/dev/null || true; rm -f "$numbers"' EXIT
for _ in $(seq 200); do [ -s "$numbers" ] && break; sleep 0.05; done
[ -s "$numbers" ] || { echo "shots: no display could be started" >&2; exit 1; }
DISPLAY=:$(cat "$numbers")
export DISPLAY

# Wine draws into the X server's window a moment after the program has painted: wait until the picture stands still.
picture() {
  local before='' now='' place
  place=$(panel place | tr -d '\r')
  for _ in $(seq 40); do
    import -window root -silent xwd:- | convert xwd:- -crop "$place" +repage "$1"
    now=$(convert "$1" rgb:- | sha256sum)
    [ "$now" = "$before" ] && break
    before=$now
    sleep 0.1
  done
}

# panel COMMAND…: what is in front does it; shot NAME: a picture of it.
panel() { "$wine" build/bin/panel.exe "$@"; }
shot() { picture "build/shots/${lang%:*}-$1.png"; }

# From the Service and the Advanced page through every wizard and dialog, on the demo's containers.
walk() {
  local person='Иванов Иван Иванович'
  panel page 2
  panel click 1138; shot check-1-container; panel type 1045 "$person"; panel next; shot check-2-report; panel cancel
  panel click 1096; shot copy-1-source; panel type 1045 "$person"; panel next; shot copy-2-target; panel cancel
  panel click 1061; panel type 1045 "$person"; shot delete; panel cancel
  panel click 1074; panel type 1045 "$person"; shot change-password; panel finish; shot provider-change-password
  panel cancel; panel cancel; panel cancel
  panel click 1062; panel type 1045 "$person"; shot certificates-1-container
  panel next; shot certificates-2-certificate; panel cancel
  panel click 1063; shot install-1-file
  panel type 1041 "$("$wine" cmd.exe /c 'echo %USERPROFILE%' </dev/null | tr -d '\r')\\Desktop\\Иванов (DER).cer"
  panel next; shot install-2-certificate; panel next; panel click 1140; shot install-3-container
  panel next; shot install-4-store; panel next; shot install-5-summary; panel cancel
  panel click 1064; shot saved-passwords; panel cancel
  panel click 1138; panel click 1046; shot provider-choose-container; panel cancel; panel cancel
  panel page 3
  panel click 57635; shot input-timeout; panel cancel
}

mkdir -p build/shots
start_server
if [ -n "$all" ]; then tools/demo.sh >/dev/null; fi
for lang in en:1033 ru:1049; do
  [ -z "$only_lang" ] || [ "$only_lang" = "${lang#*:}" ] || continue
  VESTRA_UI=${lang%:*} wine_environment
  "$wine" build/bin/softcsp.exe store put '\local\Language' "${lang#*:}"
  "$wine" control.exe "$(windows_path build/bin/vestra.cpl)" >/dev/null 2>&1 &
  for page in "${!names[@]}"; do
    [ -z "$only_page" ] || [ "$only_page" = "$page" ] || continue
    panel page "$page"
    picture "build/shots/${lang%:*}-$page-${names[$page]}.png"
  done
  if [ -n "$all" ]; then walk; fi
  panel close
done
echo "shots: no display here, so there are pictures of the pages in build/shots"
