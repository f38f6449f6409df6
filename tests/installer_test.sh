#!/usr/bin/env bash
# Installs, opens, repairs, upgrades and removes the signed package in a Wine prefix of its own.
set -euo pipefail
cd "$(dirname "$0")/.."
work=$PWD/build/installer-test
rm -rf "$work" && mkdir -p "$work"
touch "$work/errors"
tools/prefix.sh copy "$work/prefix"
export VESTRA_PREFIX=$work/prefix
. tools/prefix.sh
wine_environment
unset DISPLAY
trap '"$server" -k 2>/dev/null || true' EXIT

fail() {
  echo "installer: $*" >&2
  cat "$work/errors" >&2
  exit 1
}
same() { [ "$2" = "$3" ] || fail "$1: expected «$2», found «$3»"; }
# exits CODE PROGRAM…: Wine passes on the low 8 bits of an exit code.
exits() {
  local code=0
  "$wine" "${@:2}" </dev/null >"$work/output" 2>&1 || code=$?
  same "exit code of ${*:2}, which printed '$(tr -d '\r' <"$work/output")'" "$(($1 & 255))" $code
}
# A key or value that is not there is no error of the test, but may explain one.
query() {
  local code=0
  "$wine" reg.exe query "$@" 2>"$work/output" | tr -d '\r' || code=$?
  [ $code = 0 ] || echo "reg.exe query $*: code $code: $(tr -d '\r' <"$work/output")" >>"$work/errors"
}
data() { query "$@" | LC_ALL=C sed -n 's/.*REG_[A-Z_]* *//p'; }   # labels are in another code page
in_test() { windows_path "build/installer-test/$1"; }
control_panel_items() { "$wine" cscript.exe //nologo "$(in_test count.js)" | tr -d '\r'; }
installed_files() { LC_ALL=C ls "$program_files/Vestra CSP" | xargs; }
installed_products() { query "$uninstall" | grep -o '{.*}' || true; }

folder='C:\Program Files\Vestra CSP'
program_files=$VESTRA_PREFIX/drive_c/'Program Files'
uninstall='HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall'
items='HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Explorer\ControlPanel\NameSpace'
classes='HKLM\SOFTWARE\Classes\CLSID'
environment='HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment'
library_paths='HKLM\SOFTWARE\Kelvane\Cryptography\CurrentVersion\AppPath'
components='HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Installer\UserData\S-1-5-18\Components'
setting='\local\KeyDevices\passwd_time'

# snapshot FILE: the registry and the files of the stopped prefix. Left out is what Wine changes itself: the times of
# keys, the driver's date, empty keys and a folder of its installer, and the separators that it leaves in PATH.
snapshot() {
  "$server" -k || true
  "$server" -w
  {
    sed -e '/^#time/d; /^"DriverDateData"=/d; s/^\(\[.*\]\) [0-9]*$/\1/; s/^\("PATH"=.*[^;]\);*"$/\1"/' \
      "$VESTRA_PREFIX"/*.reg | sed -e '/^\[Software.*\\\\Installer\\\\\(Features\|UpgradeCodes\)\]$/d; /^$/d'
    (cd "$VESTRA_PREFIX" && find drive_c ! -path drive_c/windows/Installer -printf '%p %y\n' | sort)
  } >"$1"
  start_server
}

# shows VERSION: the panel, opened by the command of its item in the Control Panel, shows this package's data.
shows() {
  local item found='' version product language
  for item in $(query "$items" | grep -o '{.*}'); do
    [ "$(data "$classes\\$item" /v System.ApplicationName)" != Vestra.CSP ] || found=$item
  done
  [ -n "$found" ] || fail "no item of the Control Panel has the canonical name Vestra.CSP"
  data "$classes\\$found\\Shell\\Open\\Command" /ve | xargs "$wine" >/dev/null 2>&1 &
  "$wine" build/bin/panel.exe wait
  product=$("$wine" build/bin/panel.exe text 1004 | tr -d '\r')
  language=$("$wine" build/bin/panel.exe text 1116 | tr -d '\r')
  version=$("$wine" build/bin/panel.exe text 1125 | tr -d '\r')
  "$wine" build/bin/panel.exe close
  wait $!
  same 'product on the General page' 'Vestra CSP' "$product"
  same 'version on the General page' "$1" "$version"
  # All strings come from the support library, which the panel finds by the registered paths only.
  [ -n "$language" ] || fail 'the panel did not find the support library'
  same 'address of the product' "$(sed -n 's/^CMAKE_PROJECT_HOMEPAGE_URL:STATIC=//p' build/windows/CMakeCache.txt)" \
    "$(data "$uninstall\\$(installed_products)" /v URLInfoAbout)"
}

verifies() { osslsigncode verify -CAfile "$work/certificate.pem" -in "$1" >/dev/null 2>&1; }
# is_signed FILE: its signature verifies, and no longer when one byte is another.
is_signed() {
  verifies "$1" || fail "the signature of ${1##*/} does not verify"
  local middle=$(($(stat -c %s "$1") / 2)) byte
  byte=$(od -An -tu1 -j $middle -N 1 "$1")
  cp "$1" "$work/changed"
  printf "\\x$(printf %x $(((byte + 1) % 256)))" | dd of="$work/changed" bs=1 seek=$middle conv=notrunc status=none
  ! verifies "$work/changed" || fail "${1##*/} verifies although a byte was changed"
}

# Two versions of the package, signed with a certificate made for the test.
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key.pem" -out "$work/certificate.pem" -days 2 \
  -subj '/CN=Test' -addext extendedKeyUsage=codeSigning 2>/dev/null
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/windows/CMakeCache.txt)
next=${version%.*}.$((${version##*.} + 1))
for one in "$version" "$next"; do
  tools/package.sh --sign "$work/certificate.pem" "$work/key.pem" --version "$one" --output "$work/$one.msi" >/dev/null
  is_signed "$work/$one.msi"
done
files=NOTICES.txt
[ ! -f docs/guide.md ] || files+=' guide.md guide.ru.md pictures'
files+=' vestra.cpl'
[ ! -f build/windows/installer/vestractl.map ] || files+=' vestractl.exe'

same 'version of the module' "$version.0" \
  "$(msiinfo export "$work/$version.msi" File | awk -F'\t' '$1 == "vestra.cpl" { print $5 }')"
message=$(msiinfo export "$work/$version.msi" LaunchCondition)
for text in 'newer version' 'более новая версия'; do
  [[ $message == *"$text"* ]] || fail "the refusal of a downgrade does not say «$text», but: $message"
done

# The software provider registers the panel in the build directory, as an installer would. A component with two
# installations would stay when one of them is removed.
start_server
exits 0 reg.exe delete "$library_paths\vestra.cpl" /f
exits 0 reg.exe delete "$components\16E4B2D87A3950C41B8EF2A6C0394D71" /f
exits 0 build/bin/softcsp.exe create 'Kept'
exits 0 build/bin/softcsp.exe store put "$setting" 77
echo 'WScript.Echo(new ActiveXObject("Shell.Application").NameSpace(3).Items().Count)' >"$work/count.js"
items_before=$(control_panel_items)
snapshot "$work/before"

exits 0 msiexec.exe /i "$(in_test "$version.msi")" /qn '/l*v' "$(in_test install.log)"
grep -q InstallFinalize "$work/install.log" || fail 'the log does not show the end of the installation'
same 'installed files' "$files" "$(installed_files)"
is_signed "$program_files/Vestra CSP/vestra.cpl"
for text in 'GCC RUNTIME LIBRARY EXCEPTION' 'Upstream-Name: mingw-w64'; do
  grep -q "$text" "$program_files/Vestra CSP/NOTICES.txt" || fail "the notices do not have «$text»"
done
same 'short cuts in the Start menu' 1 "$(find "$VESTRA_PREFIX/drive_c" -path '*/Start Menu/*/Vestra CSP.lnk' | wc -l)"
same 'items in the Control Panel' $((items_before + 1)) "$(control_panel_items)"
shows "$version"
if [[ $files == *vestractl.exe* ]]; then
  is_signed "$program_files/Vestra CSP/vestractl.exe"
  [[ $(data "$environment" /v PATH) == *";$folder"* ]] || fail 'PATH does not have the folder of the console program'
  [[ $("$wine" cmd.exe /c vestractl.exe --version) == *"$version"* ]] ||
    fail "vestractl --version does not say $version"
  # The libraries and providers are those of the software provider, which is registered beside the package.
  doctor=$("$wine" cmd.exe /c 'vestractl.exe doctor --lang en' | tr -d '\r') || true
  ! grep '^error' <<<"$doctor" || fail 'vestractl doctor finds errors'
  grep -q "^ok .*The Control Panel of Windows shows '$(sed 's/\\/\\\\/g' <<<"$folder")" <<<"$doctor" ||
    fail "vestractl doctor does not find the panel in the Control Panel: $doctor"
fi

rm "$program_files/Vestra CSP/NOTICES.txt"
exits 0 reg.exe delete "$items" /f
# What "msiexec /f" does, which Wine's cannot.
exits 0 msiexec.exe /i "$(in_test "$version.msi")" REINSTALL=ALL REINSTALLMODE=omus /qn
same 'files after the repair' "$files" "$(installed_files)"
same 'items in the Control Panel after the repair' $((items_before + 1)) "$(control_panel_items)"

exits 0 msiexec.exe /i "$(in_test "$next.msi")" /qn
same 'products after the upgrade' 1 "$(installed_products | wc -l)"
same 'setting after the upgrade' 77 "$("$wine" build/bin/softcsp.exe store get "$setting" | tr -d '\r')"
shows "$next"

exits 1603 msiexec.exe /i "$(in_test "$version.msi")" /qn
shows "$next"

exits 0 msiexec.exe /x "$(installed_products)" /qn
snapshot "$work/after"
diff "$work/before" "$work/after" >&2 || fail 'the removed package left traces (>) or removed what is not its own (<)'
