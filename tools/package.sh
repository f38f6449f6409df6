#!/usr/bin/env bash
# Builds the installer package, build/vestra-VERSION-x64.msi. The same commit gives the same bytes, except for signatures.
#   --sign CERTIFICATE KEY    sign module, console program and package. CERTIFICATE is a PEM file: the signer's
#                             certificate, then its issuers up to the root
#   --timestamp URL           have the signatures time-stamped by this RFC 3161 server
#   --version VERSION         a package of this version around the same files, for tests of upgrades
#   --output FILE             write this file instead
set -euo pipefail
cd "$(dirname "$0")/.."

version='' output='' certificate='' key='' timestamp=()
usage() { sed -n 's/^#   /  /p' "$0" >&2; exit 2; }
while [ $# -gt 0 ]; do
  case "$1 $#" in
    "--sign "[3-9]) certificate=$2 key=$3; shift 3 ;;
    "--timestamp "[2-9]) timestamp=(-ts "$2"); shift 2 ;;
    "--version "[2-9]) version=$2; shift 2 ;;
    "--output "[2-9]) output=$2; shift 2 ;;
    *) usage ;;
  esac
done

tools/setup.sh
tools/build.sh shipped
tools/notices.sh

cached() { sed -n "s/^CMAKE_PROJECT_$1:STATIC=//p" build/windows/CMakeCache.txt; }
version=${version:-$(cached VERSION)}
address=$(cached HOMEPAGE_URL)
output=${output:-build/vestra-$version-x64.msi}

# The files as they are packed, all with the time of the commit: it becomes part of the package. Outside a repository,
# it is the earliest time that a cabinet can hold.
stage=build/package
time=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || echo 315532800)}
export TZ=UTC
rm -rf "$stage" && mkdir -p "$stage"
cp installer/vestra.wxs resources/product.ico build/NOTICES.txt build/bin/vestra.cpl "$stage"
console=no guides=no
if [ -f build/windows/installer/vestractl.map ]; then console=yes; cp build/bin/vestractl.exe "$stage"; fi
if [ -f docs/guide.md ] && [ -f docs/guide.ru.md ]; then
  guides=yes
  cp docs/guide.md docs/guide.ru.md "$stage"
  mapfile -t pictures < <(grep -oh '(pictures/[^)]*)' docs/guide.md docs/guide.ru.md | tr -d '()' | sort -u)
  [ ${#pictures[@]} -gt 0 ] || { echo "package: the guides contain no pictures" >&2; exit 1; }
  mkdir "$stage/pictures"
  (cd docs && cp "${pictures[@]}" "../$stage/pictures")
  {
    echo '<Include xmlns="http://schemas.microsoft.com/wix/2006/wi">'
    for picture in "${pictures[@]}"; do echo "<File Id=\"${picture##*/}\" Source=\"$picture\"/>"; done
    echo '</Include>'
  } >"$stage/pictures.wxi"
fi

# sign FILE OPTIONS…: replaces it by the signed one and checks the signature. Without --sign, it does nothing.
sign() {
  [ -n "$certificate" ] || return 0
  osslsigncode sign -certs "$certificate" -key "$key" -h sha256 -n 'Vestra CSP' -i "$address" \
    ${timestamp[@]+"${timestamp[@]}"} "${@:2}" -in "$1" -out "$1.signed" >"$stage/sign.log" 2>&1 &&
    osslsigncode verify -CAfile "$certificate" -in "$1.signed" >>"$stage/sign.log" 2>&1 ||
    { cat "$stage/sign.log" >&2; echo "package: could not sign ${1##*/}" >&2; exit 1; }
  mv "$1.signed" "$1"
}
sign "$stage/vestra.cpl"
[ $console = no ] || sign "$stage/vestractl.exe"
find "$stage" -type f -exec touch -d "@$time" {} +

# guid: an identifier derived from the standard input, of version 8 (custom contents).
guid() {
  local sum
  sum=$(sha256sum | tr a-f A-F)
  printf '{%s-%s-8%s-A%s-%s}' "${sum:0:8}" "${sum:8:4}" "${sum:12:3}" "${sum:15:3}" "${sum:18:12}"
}
product_code=$(printf 'Vestra CSP %s' "$version" | guid)

# The version resource's, which Windows compares.
file_version() {
  local found
  found=$(x86_64-w64-mingw32-strings -el "$1" | sed -n '/^FileVersion$/ { n; p; q }')
  [ -n "$found" ] || { echo "package: ${1##*/} has no version" >&2; exit 1; }
  echo "$found"
}

# statements FILE: as arguments for msibuild in the array `queries`
queries=()
statements() {
  local line
  while IFS= read -r line; do
    case $line in '' | --*) continue ;; esac
    queries+=(-q "$line")
  done < <(sed "s/@VERSION@/$version/g; s/@MODULE_VERSION@/$module_version/; s/@CONSOLE_VERSION@/$console_version/" "$1")
}
module_version=$(file_version "$stage/vestra.cpl") console_version=''
statements installer/tables.sql
if [ $console = yes ]; then
  console_version=$(file_version "$stage/vestractl.exe")
  statements installer/console.sql
fi

package=$stage/vestra.msi
(
  cd "$stage"
  wixl -a x64 -D Version="$version" -D ProductCode="$product_code" -D Address="$address" \
    -D ItemClass='{A6F12EEA-90AB-4B56-B2F7-ADFFE290D631}' -D Console=$console -D Guides=$guides \
    -o vestra.msi vestra.wxs
) >"$stage/wixl.log" 2>&1 && [ ! -s "$stage/wixl.log" ] ||
  { cat "$stage/wixl.log" >&2; echo "package: wixl failed" >&2; exit 1; }

# The package code must depend on the contents only. wixl chooses a random one, and writes the current time.
package_code=$({ cat "$stage"/*.{cpl,txt,wxs}; [ $console = no ] || cat "$stage"/*.exe; [ $guides = no ] || cat "$stage"/*.md "$stage"/pictures/*
  printf '%s\n' "$version" "${queries[@]}"; } | guid)
written=$(date -d "@$time" '+%Y/%m/%d %H:%M:%S')
msiinfo export "$package" _SummaryInformation |
  sed "s#^9\t.*#9\t$package_code\r#; s#^\(1[23]\)\t.*#\1\t$written\r#" >"$stage/summary.idt"
printf '\r\n\r\n1251\t_ForceCodepage\r\n' >"$stage/codepage.idt"   # which has the letters of both languages

msibuild "$package" -i "$stage/codepage.idt" -i "$stage/summary.idt" "${queries[@]}" >"$stage/msibuild.log" 2>&1 ||
  { cat "$stage/msibuild.log" >&2; echo "package: a statement of installer/*.sql failed" >&2; exit 1; }
sign "$package" -add-msi-dse   # cover the names of the streams too
mv "$package" "$output"
echo "package: $output, $(stat -c %s "$output") bytes"
