#!/usr/bin/env bash
# imports_test.sh OBJDUMP FILE…: every function that the files import is listed in tests/windows7_functions.txt, and so
# exists in Windows 7.
set -euo pipefail
list=$(dirname "$0")/windows7_functions.txt
objdump=$1
shift

wrong=0
known=$(sed -e 's/#.*//' "$list" | awk '/:$/ {sub(":", "", $1); dll = $1; next} {for (i = 1; i <= NF; ++i) print dll, $i}')
for file; do
  imports=$("$objdump" -p "$file" | awk '/DLL Name:/ {dll = tolower($3)} /^\t[0-9a-f]+\t +[0-9]+ +/ {print dll, $NF}')
  [ -n "$imports" ] || { echo "$file: no imports found"; wrong=1; }
  while read -r dll name; do
    grep -qxF "$dll $name" <<<"$known" || { echo "$file imports $name of $dll, which is not in $list"; wrong=1; }
  done <<<"$imports"
done
exit $wrong
