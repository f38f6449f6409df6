#!/usr/bin/env bash
# Prepares the Wine prefixes under build/ and tells the environment that runs programs in them.
#   prefix.sh prepare        make build/prefix if it isn't there, register the software provider in it
#   prefix.sh copy DIR       a cheap copy of build/prefix, for tests and demos that change it
#   prefix.sh display DIR    the same, showing its windows; without a window manager unless WINDOW_MANAGER=yes
#   source prefix.sh         only the functions and the environment
set -euo pipefail
house=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

wine=/usr/lib/wine/wine64
server=/usr/lib/wine/wineserver64

# Users' machines have the ANSI code page 1251. Wine takes it from the C library's locale, which must exist for file
# names to survive, so it is compiled here instead of being asked of the machine. VESTRA_ANSI=1252 chooses the other.
# The language of the system's own texts is apart from that: VESTRA_UI=en or ru.
prepare_locale() {
  [ -d "$house/build/locale/ru_RU.UTF-8" ] && return
  mkdir -p "$house/build/locale"
  localedef -i ru_RU -f UTF-8 "$house/build/locale/ru_RU.UTF-8"
  localedef -i en_US -f UTF-8 "$house/build/locale/en_US.UTF-8"
}

wine_environment() {
  export WINEPREFIX=${VESTRA_PREFIX:-$house/build/prefix}
  # No menu builder: it would copy the short cuts of installed programs into the menus of the developer's desktop.
  export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=;winemenubuilder.exe=d}
  export LOCPATH=$house/build/locale
  local ctype=ru_RU.UTF-8 messages=ru_RU.UTF-8
  [ "${VESTRA_ANSI:-1251}" = 1251 ] || ctype=en_US.UTF-8
  [ "${VESTRA_UI:-ru}" = ru ] || messages=en_US.UTF-8
  unset LC_ALL LANGUAGE
  { export LC_CTYPE=$ctype LC_MESSAGES=$messages LANG=$messages; } 2>/dev/null   # the shell has no such locales itself
}

# A server that was started by the program itself would inherit ctest's pipes and hold them open, and a cold start
# costs two seconds a program; so it is started apart, and stays for a while.
start_server() {
  "$server" -p300 </dev/null >/dev/null 2>&1 && "$wine" wineboot.exe </dev/null >/dev/null 2>&1 || true
}

prepare_template() {
  [ -f "$house/build/prefix/.prepared" ] && return
  echo "prefix: preparing Wine, once (ten seconds or so)"
  rm -rf "$house/build/prefix"
  (
    unset VESTRA_PREFIX DISPLAY   # the template itself, whichever prefix the caller works in
    wine_environment
    mkdir -p "$WINEPREFIX"
    "$wine" wineboot.exe -i </dev/null >/dev/null 2>&1
    registry=$(mktemp --suffix=.reg)
    # No display driver: every window works and none needs an X server. A crash must end the program with a code
    # that isn't 0, and must not open a debugger's window that nobody sees.
    cat >"$registry" <<'REG'
REGEDIT4

[HKEY_CURRENT_USER\Software\Wine\Drivers]
"Graphics"="null"

[HKEY_CURRENT_USER\Software\Wine\X11 Driver]
"Managed"="N"

[HKEY_CURRENT_USER\Software\Wine\WineDbg]
"ShowCrashDialog"=dword:00000000

[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\AeDebug]
"Debugger"=""
REG
    "$wine" regedit.exe /S "$registry" </dev/null >/dev/null 2>&1
    rm -f "$registry"
    ln -sf /usr/share/wine/fonts/*.ttf /usr/share/wine/fonts/*.fon "$WINEPREFIX/drive_c/windows/Fonts/"
    "$server" -w
  )
  touch "$house/build/prefix/.prepared"
}

# Registers the software provider, again whenever its tool was built anew.
prepare_provider() {
  local tool=$house/build/bin/softcsp.exe stamp=$house/build/prefix/.registered
  [ -f "$tool" ] || return 0
  [ -f "$stamp" ] && [ ! "$tool" -nt "$stamp" ] && return
  (
    unset VESTRA_PREFIX DISPLAY
    wine_environment
    start_server
    "$wine" "$tool" init --reset </dev/null >/dev/null
    "$server" -k || true
    "$server" -w
  )
  rm -f "$stamp"   # copies hold a link to the old one, whose time must stay
  touch "$stamp"
}

# A path below the house as Windows programs know it.
windows_path() { printf 'Z:%s' "$house/$1" | tr / '\\'; }

prepare() { prepare_locale; prepare_template; prepare_provider; }

# Hard links for the files, real copies for the registry: Wine rewrites those in place.
copy() {
  rm -rf "$1"
  mkdir -p "$(dirname "$1")"
  cp -al "$house/build/prefix" "$1"
  rm "$1"/*.reg
  cp "$house"/build/prefix/*.reg "$1"/
}

display() {
  copy "$1"
  sed -i 's/^"Graphics"="null"$/"Graphics"="x11"/' "$1/user.reg"
  if [ "${WINDOW_MANAGER:-no}" = yes ]; then sed -i 's/^"Managed"="N"$/"Managed"="Y"/' "$1/user.reg"; fi
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  case "${1:-}" in
    prepare) prepare ;;
    copy) prepare; copy "$2" ;;
    display) prepare; display "$2" ;;
    *) echo "usage: prefix.sh prepare | copy DIR | display DIR" >&2; exit 2 ;;
  esac
fi
