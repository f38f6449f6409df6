#!/usr/bin/env bash
# Holds the house's arrows: which room may include which. Prints every line that goes against them.
set -euo pipefail
cd "$(dirname "$0")/.."

# room: the rooms it may include from, beside itself
declare -A may=(
  [framework]=''
  [csp]='framework'
  [applet/services]='framework resources'
  [wizards]='applet/services csp framework resources'
  [pages]='wizards applet/services csp framework resources'
  [applet]='pages wizards applet/services csp framework resources'
  [softcsp]=''
  [tools]=''
  [bench]='tools csp resources softcsp'
)

room_of() {
  case "$1" in
    applet/services/*) echo applet/services ;;
    */*) echo "${1%%/*}" ;;
    *) echo '' ;;
  esac
}

wrong=0
while IFS=: read -r file line text; do
  from=$(room_of "$file")
  included=${text#*\"}
  included=${included%%\"*}
  to=$(room_of "$included")
  [ -n "${may[$from]+known}" ] || { echo "$file: a room that nobody described"; wrong=1; continue; }
  [ "$from" = "$to" ] && continue
  case " ${may[$from]} " in
    *" $to "*) ;;
    *) echo "$file:$line: $from may not include $included"; wrong=1 ;;
  esac
  # csp takes the framework's owning handles and nothing else of it.
  if [ "$from" = csp ] && [ "$to" = framework ]; then
    case "$included" in framework/Handles.h | framework/UniqueHandle.h) ;;
      *) echo "$file:$line: csp may not include $included"; wrong=1 ;;
    esac
  fi
done < <(grep -rn --include='*.h' --include='*.cpp' '^#include "' framework csp applet pages wizards softcsp tools bench || true)

if grep -rniE 'softcsp' --include='*.h' --include='*.cpp' --include='*.rc' framework csp applet pages wizards resources; then
  echo "the panel knows nothing of the software provider"
  wrong=1
fi
exit $wrong
