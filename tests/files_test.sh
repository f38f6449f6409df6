#!/usr/bin/env bash
# files_test.sh OBJDUMP MODULE FILE…: what the built files are from outside. MODULE is the panel; the others import as it
# does.
#   - Every imported function is listed in tests/windows7_functions.txt, and so exists in Windows 7.
#   - The module exports the entry points of the Control Panel and of the wizards, and no others.
#   - Its headers ask for addresses that change and for data that can't run.
#   - Its two manifests select version 6 of the common controls and no execution level.
#   - Its version resource names the product in both languages.
#   - Dialog templates use the shell's font, and icons have the sizes that the shell shows.
set -euo pipefail
cd "$(dirname "$0")/.."
list=tests/windows7_functions.txt
objdump=$1
module=$2
shift

wrong=0
complain() { echo "$*"; wrong=1; }
same() { [ "$2" = "$3" ] || complain "$1: '$2' instead of '$3'"; }

known=$(sed -e 's/#.*//' "$list" | awk '/:$/ {sub(":", "", $1); dll = $1; next} {for (i = 1; i <= NF; ++i) print dll, $i}')
for file; do
  imports=$("$objdump" -p "$file" | awk '/DLL Name:/ {dll = tolower($3)} /^\t[0-9a-f]+\t +[0-9]+ +/ {print dll, $NF}')
  [ -n "$imports" ] || complain "$file: no imports found"
  while read -r dll name; do
    grep -qxF "$dll $name" <<<"$known" || complain "$file imports $name of $dll, which is not in $list"
  done <<<"$imports"
done

headers=$("$objdump" -p "$module")
exports=$(awk '/^\[Ordinal\/Name Pointer\] Table/ {on = 1; next} on && /^\t\[/ {print $NF}' <<<"$headers" | sort | tr '\n' ' ')
same "exports" "$exports" "CPlApplet WizChangePassword WizDeleteContainer WizInstallPrivateCertificate WizViewCertificateInContainer "

for property in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
  grep -qw "$property" <<<"$headers" || complain "the module's headers lack $property"
done
! grep -q '^Entry 5 [0-9a-f]* 0* Base Relocation' <<<"$headers" || complain "the module can't be relocated"

same "manifests for the common controls" "$(grep -ao 'name="Microsoft.Windows.Common-Controls"' "$module" | wc -l)" 2
same "execution levels" "$(grep -ac requestedExecutionLevel "$module")" 0

for text in 040904b0 041904b0 'Vestra CSP' vestra.cpl; do
  iconv -t UTF-16LE <<<"$text" | head -c -2 >build/text.tmp
  LC_ALL=C grep -qaF -f build/text.tmp "$module" || complain "the version resource has no '$text'"
done

for rc in resources/*/*.rc; do
  dialogs=$(grep -c DIALOGEX "$rc") || continue
  same "$rc: dialogs with the shell's font" "$(grep -cx 'FONT 8, "MS Shell Dlg 2", 400, 0, 1' "$rc")" "$dialogs"
  same "$rc: dialogs with DS_SHELLFONT" "$(grep -c '^STYLE DS_SHELLFONT' "$rc")" "$dialogs"
done

for icon in resources/*.ico; do
  sizes=$(python3 -c 'import sys; b = open(sys.argv[1], "rb").read(); print(*[b[6 + 16 * i] for i in range(b[4])])' "$icon")
  for size in 16 24 32; do [[ " $sizes " == *" $size "* ]] || complain "$icon: no picture of $size pixels"; done
done
exit $wrong
