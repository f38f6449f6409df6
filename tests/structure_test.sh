#!/usr/bin/env bash
# Reads the #include lines: each folder includes only from the folders listed for it, the units without windows include
# no unit with one, and no two units include each other. Prints every line that breaks a rule.
set -euo pipefail
cd "$(dirname "$0")/.."

# folder: the folders that it may include from, besides itself
declare -A may=(
  [framework]=''
  [applet/services]='framework resources'
  [csp]='applet/services framework resources'
  [settings]='csp applet/services framework resources'
  [wizards]='settings csp applet/services framework resources'
  [pages]='wizards settings csp applet/services framework resources'
  [applet]='pages wizards settings csp applet/services framework resources'
  [console]='settings csp applet/services framework resources'
  [softcsp]=''
  [tools/panel]=''
  [bench]='console csp framework resources softcsp tools/panel'
  [cmake]=''
  [tests]='applet console pages wizards settings csp applet/services framework resources softcsp tools/panel cmake'
)

# The units of framework/ and applet/services/ that settings/, csp/ and console/ may include: none has a window, a message
# box or a control. framework/Module.h is among them for the module's own path and resources.
windowless='framework/(Handles|Module|Registry|Result|SystemLibrary|Text)|applet/services/(DeviceLibraries|ErrorText|ParameterEntry|ProcessCaches|ProductLibrary|Strings|SupportLibrary)|resources/(resource|console|version)'

wrong=0
complain() { echo "$*"; wrong=1; }

# The listed folder that holds a file: the one with the longest name.
folder_of() {
  local folder=${1%/*}
  while [ -z "${may[$folder]+listed}" ] && [[ $folder == */* ]]; do folder=${folder%/*}; done
  [ "$1" = "${1#resources/}" ] || folder=resources
  echo "$folder"
}

for folder in "${!may[@]}"; do [ -d "$folder" ] || complain "$folder: listed here, but missing"; done

includes=$(grep -rn --include='*.h' --include='*.cpp' '^#include "' "${!may[@]}" | sort -u)
while IFS=: read -r file line text; do
  included=${text#*\"}
  included=${included%%\"*}
  from=$(folder_of "$file")
  to=$(folder_of "$included")
  if [ "$from" != "$to" ] && [[ " ${may[$from]} " != *" $to "* ]]; then
    complain "$file:$line: $from may not include $included"
  fi
  if [[ $from =~ ^(settings|csp|console)$ && $to =~ ^(framework|applet/services|resources)$ ]]; then
    [[ $included =~ ^($windowless)\.h$ ]] || complain "$file:$line: $from may not include $included, which has a window"
  fi
done <<<"$includes"

# A unit is a header with its source file. tsort fails when units include each other, and names them.
units() { sed -nE 's/^([^:]*)\.(h|cpp):[0-9]+:#include "([^"]*)\.h".*/\1 \3/p' <<<"$includes" | awk '$1 != $2'; }
if ! cycles=$(units | tsort 2>&1 >/dev/null); then complain "units that include each other: $cycles"; fi

if grep -rniE 'softcsp' --include='*.h' --include='*.cpp' --include='*.rc' \
    framework csp settings applet console pages wizards resources; then
  complain "the panel must not depend on the software provider"
fi

# Each library of the console program is included by one unit only.
for library in 'CLI/CLI.hpp console/Arguments.cpp' 'nlohmann/json.hpp console/Json.cpp'; do
  users=$(grep -rlF "<${library% *}>" --include='*.h' --include='*.cpp' "${!may[@]}" | sort -u)
  [ "$users" = "${library#* }" ] || complain "only ${library#* } may include ${library% *}, but: $users"
done
exit $wrong
