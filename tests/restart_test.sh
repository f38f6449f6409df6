#!/usr/bin/env bash
# A container made by one program is there for another after the system was down.
set -euo pipefail
cd "$(dirname "$0")/.."
prefix=$PWD/build/prefix-restart
tools/prefix.sh copy "$prefix"
export VESTRA_PREFIX=$prefix
. tools/prefix.sh
name='Переживёт перезапуск'
tools/wine.sh build/bin/softcsp.exe create "$name" --keys xs --password 1234
( wine_environment; "$server" -k; timeout 60 "$server" -w )
shown=$(tools/wine.sh build/bin/softcsp.exe show "$name")
( wine_environment; "$server" -k ) || true
case $shown in
  *"$name"*) ;;
  *) echo "after the restart: $shown" >&2; exit 1 ;;
esac
