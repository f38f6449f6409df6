#!/usr/bin/env bash
# Builds the package twice, without the compiler's cache, and compares the bytes: in directories with names of different
# lengths, one after the other, in different time zones and languages.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$PWD/build/reproducible
rm -rf "$work"
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export CCACHE_DISABLE=1 SOURCE_DATE_EPOCH

# build DIRECTORY ENVIRONMENT…: the files under version control as they are now, built in a directory of their own.
build() {
  local directory=$work/$1
  mkdir -p "$directory"
  git ls-files -z --cached --others --exclude-standard | tar -c --null --ignore-failed-read -T - 2>/dev/null |
    tar -x -C "$directory"
  echo "reproducible: building in build/reproducible/$1"
  env "${@:2}" "$directory/tools/package.sh" >"$work/${1//\//-}.log" 2>&1 ||
    { tail -n 20 "$work/${1//\//-}.log" >&2; echo "reproducible: the build failed" >&2; exit 1; }
}
build one TZ=UTC LC_ALL=C
build second/with/a/longer/name TZ=Asia/Vladivostok LC_ALL=C.UTF-8

different=0
for file in "$work"/one/build/*.msi "$work"/one/build/bin/*.{cpl,exe}; do
  [ -f "$file" ] || continue
  other=$work/second/with/a/longer/name/${file#"$work/one/"}
  if cmp "$file" "$other"; then
    sha256sum "$file" | sed "s#$work/one/build/##"
  else
    different=1
  fi
done
[ $different = 0 ] || { echo "reproducible: the builds differ" >&2; exit 1; }
echo "reproducible: both builds gave the same bytes"
