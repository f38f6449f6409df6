#!/usr/bin/env bash
# Takes pictures of the control panel's pages in both languages, from Wine's control.exe on a display of its own, as
# build/shots/LANGUAGE-N-NAME.png. Each picture shows only the front window.
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
cat >>build/prefix-shots/user.reg <<REG

[Control Panel\\\\Desktop]
"LogPixels"=dword:$(printf %08x "$dpi")
REG

# Wine's Tahoma has bitmaps of some sizes, which are narrower than the outlines that texts are measured by, and forbids
# smoothing. Without those tables of the font underlines and focus frames end where their texts do.
for font in tahoma tahomabd; do
  file=build/prefix-shots/drive_c/windows/Fonts/$font.ttf
  rm "$file"
  perl -0777 -pe '$n = unpack "n", substr $_, 4, 2;
    @kept = grep { !/^(EBDT|EBLC|gasp)/ } unpack "(a16)$n", substr $_, 12;
    substr($_, 4, 2) = pack "n", scalar @kept;
    substr($_, 12, 16 * @kept) = join "", @kept' "/usr/share/wine/fonts/$font.ttf" >"$file"
done
export VESTRA_PREFIX=$PWD/build/prefix-shots
wine_environment

# Xvfb chooses a free display number and writes it to the file.
numbers=$(mktemp)
Xvfb -displayfd 3 -screen 0 1600x1200x24 3>"$numbers" >/dev/null 2>&1 &
xvfb=$!
trap '"$server" -k 2>/dev/null || true; kill $xvfb 2>/dev/null || true; rm -f "$numbers"' EXIT
for _ in $(seq 200); do [ -s "$numbers" ] && break; sleep 0.05; done
[ -s "$numbers" ] || { echo "shots: no display could be started" >&2; exit 1; }
DISPLAY=:$(cat "$numbers")
export DISPLAY

# Wine draws into the X server's window a moment after the program has painted: wait until the picture no longer changes.
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
tool() { "$wine" build/bin/softcsp.exe "$@" </dev/null; }

# From the pages through every wizard and dialog, on the demo's containers.
person='Иванов Иван Иванович' locked='С паролем (with a password)' damaged='Damaged (поврежден)'
walk() {
  walk_hardware
  panel page 2
  walk_check
  walk_copy
  panel click 1061; panel type 1045 "$person"; shot delete; panel finish; shot delete-question; panel away
  panel click 1074; panel type 1045 "$person"; shot change-password; panel finish; shot provider-change-password
  panel away
  panel click 1062; panel type 1045 "$person"; shot certificates-1-container
  panel next; shot certificates-2-certificate; panel cancel
  walk_install
  walk_search
  panel click 1064; shot saved-passwords; panel cancel
  panel page 3
  panel click 57635; shot input-timeout; panel cancel
}

walk_hardware() {
  panel page 1
  panel click 1059; shot provider-readers; panel click 1201; shot provider-new-carrier; panel cancel; panel cancel
  panel click 1060; shot provider-generators; panel cancel
  panel click 1100; shot provider-carrier-types; panel cancel
}

walk_check() {
  panel click 1138; shot check-1-container; panel click 1046; shot provider-choose-container; panel cancel
  panel type 1045 "$person"; panel next; shot check-2-report; panel cancel
  panel click 1138; panel type 1045 "$damaged"; panel next; shot check-2-failed; panel cancel
  panel click 1138; panel type 1045 "$locked"; panel next; shot provider-password; panel away
  panel click 1138; panel type 1045 "$person 2"; panel next; shot check-no-container; panel away
}

walk_copy() {
  panel click 1096; shot copy-1-source; panel type 1045 "$person"; panel next; shot copy-2-target
  panel type 1045 "$person 2"; panel finish; shot provider-choose-carrier
  panel down 1008; panel click 1; shot provider-new-password; panel away
}

walk_install() {
  panel click 1063; shot install-1-file
  panel type 1041 "$("$wine" cmd.exe /c 'echo %USERPROFILE%' </dev/null | tr -d '\r')\\Desktop\\Иванов (DER).cer"
  panel next; shot install-2-certificate; panel next; panel click 1140; shot install-3-container
  panel next; shot install-4-store; panel next; shot install-5-summary; panel cancel
}

# A search for a certificate that no container belongs to, through so many containers that it lasts long enough.
walk_search() {
  local number place
  for number in $(seq 300); do tool create "Search $number" --keys s >/dev/null; done
  panel click 1063
  panel type 1041 "$(windows_path tests/data/one.cer)"; panel next; panel next
  place=$(panel place | tr -d '\r')
  panel click 1140 &
  for _ in $(seq 200); do [[ $(panel text 1160 2>/dev/null) == *'Search '* ]] && break; done
  import -window root -silent xwd:- | convert xwd:- -crop "$place" +repage "build/shots/${lang%:*}-install-3-search.png"
  wait $! || true
  panel away
  for number in $(seq 300); do tool remove "Search $number"; done
}

# What a user sees who isn't an administrator.
walk_without_rights() {
  tool store deny '\config'
  open_panel
  for page in 0 4 5 6 7; do panel page "$page"; shot "rights-$page-${names[$page]}"; done
  panel close
  tool store allow '\config'
}

open_panel() { "$wine" control.exe "$(windows_path build/bin/vestra.cpl)" >/dev/null 2>&1 & }

mkdir -p build/shots
start_server
if [ -n "$all" ]; then tools/demo.sh >/dev/null; fi
for lang in en:1033 ru:1049; do
  [ -z "$only_lang" ] || [ "$only_lang" = "${lang#*:}" ] || continue
  VESTRA_UI=${lang%:*} wine_environment
  tool store put '\local\Language' "${lang#*:}"
  # Wine's own Russian format has a space that its fonts lack.
  if [ "$lang" = ru:1049 ]; then
    "$wine" reg.exe add 'HKCU\Control Panel\International' /v sLongDate /d "dddd, d MMMM yyyy 'г.'" /f >/dev/null
  fi
  open_panel
  for page in "${!names[@]}"; do
    [ -z "$only_page" ] || [ "$only_page" = "$page" ] || continue
    panel page "$page"
    shot "$page-${names[$page]}"
  done
  if [ -n "$all" ]; then walk; fi
  panel close
  if [ -n "$all" ]; then walk_without_rights; fi
done
echo "shots: no display here, so there are pictures of the pages in build/shots"
