#!/usr/bin/env bash
# Prepares the Wine prefixes under build/ and defines the environment for programs that run in them.
#   prefix.sh prepare        create build/prefix if it is missing, register the software provider in it
#   prefix.sh copy DIR       copy build/prefix, for tests and demos that change it
#   prefix.sh display DIR    the same, with visible windows; without a window manager unless WINDOW_MANAGER=yes
#   source prefix.sh         define the functions and variables only
set -euo pipefail
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Debian's Wine has no preloader that would reserve the addresses that Wine needs. The kernel places a program's heap at
# random, in one of 8,000 starts at the address of the page that Wine shares with all programs (0x7FFE0000), and the
# program ends with exit code 1 before it begins. Programs therefore run without random addresses, if the system allows.
wine=/usr/lib/wine/wine64
if setarch -R true 2>/dev/null; then wine=$repository/tools/wine64.sh; fi
server=/usr/lib/wine/wineserver64

# Users' machines have the ANSI code page 1251. Wine derives the code page from the C library's locale, and without the
# locale it cannot represent Russian file names, so the locale is compiled here and need not be installed.
# VESTRA_ANSI=1252 selects the Western code page. VESTRA_UI=en or ru selects the language of the system's texts.
prepare_locale() {
  [ -d "$repository/build/locale/ru_RU.UTF-8" ] && return
  mkdir -p "$repository/build/locale"
  localedef -i ru_RU -f UTF-8 "$repository/build/locale/ru_RU.UTF-8"
  localedef -i en_US -f UTF-8 "$repository/build/locale/en_US.UTF-8"
}

wine_environment() {
  export WINEPREFIX=${VESTRA_PREFIX:-$repository/build/prefix}
  # The menu builder is disabled: it would add the shortcuts of installed programs to the developer's desktop menus.
  export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=;winemenubuilder.exe=d}
  export LOCPATH=$repository/build/locale
  local ctype=ru_RU.UTF-8 messages=ru_RU.UTF-8
  [ "${VESTRA_ANSI:-1251}" = 1251 ] || ctype=en_US.UTF-8
  [ "${VESTRA_UI:-ru}" = ru ] || messages=en_US.UTF-8
  unset LC_ALL LANGUAGE
  { export LC_CTYPE=$ctype LC_MESSAGES=$messages LANG=$messages; } 2>/dev/null   # bash warns about locales that it cannot load
}

# Starts the Wine server separately and keeps it running for 300 seconds: a server started by the program itself would
# inherit ctest's pipes and hold them open, and starting one for each program takes two seconds.
start_server() {
  "$server" -p300 </dev/null >/dev/null 2>&1 && "$wine" wineboot.exe </dev/null >/dev/null 2>&1 || true
}

prepare_template() {
  [ -f "$repository/build/prefix/.prepared" ] && return
  echo "prefix: creating the Wine prefix (once, about ten seconds)"
  rm -rf "$repository/build/prefix"
  (
    unset VESTRA_PREFIX DISPLAY   # the template, whichever prefix the caller uses
    wine_environment
    mkdir -p "$WINEPREFIX"
    "$wine" wineboot.exe -i </dev/null >/dev/null 2>&1
    registry=$(mktemp --suffix=.reg)
    # Without a display driver windows work, and no X server is needed. A crash must end the program with a nonzero
    # code instead of opening a debugger window.
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
  touch "$repository/build/prefix/.prepared"
}

# Registers the software provider, and again after each build of its tool.
prepare_provider() {
  local tool=$repository/build/bin/softcsp.exe stamp=$repository/build/prefix/.registered
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
  rm -f "$stamp"   # copies hold a hard link to the old file, whose time must not change
  touch "$stamp"
}

# The Windows path of a file in the repository.
windows_path() { printf 'Z:%s' "$repository/$1" | tr / '\\'; }

prepare() { prepare_locale; prepare_template; prepare_provider; }

# Links the files and copies the registry, because Wine rewrites the registry files in place.
copy() {
  rm -rf "$1"
  mkdir -p "$(dirname "$1")"
  cp -al "$repository/build/prefix" "$1"
  rm "$1"/*.reg
  cp "$repository"/build/prefix/*.reg "$1"/
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
