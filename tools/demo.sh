#!/usr/bin/env bash
# Puts containers to look at, and certificate files that belong to them, into a prefix: build/prefix, or VESTRA_PREFIX.
# What is there already stays as it is; what somebody removed comes back. run.sh calls it.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/prefix.sh"
[ -n "${VESTRA_PREFIX:-}" ] || prepare
wine_environment

password=12345678
tool() { "$wine" "$repository/build/bin/softcsp.exe" "$@" </dev/null; }
day() { date -u -d "$1" +%F; }

# Removable carriers stay known when they are pulled out; plugged in, their containers can be looked for.
tool carrier insert FLASH 2>/dev/null || tool carrier add FLASH

declare -A there
there[user]=$(tool list)
there[computer]=$(tool list --machine)
made=0
# container OWNER NAME OPTIONS…: true when it wasn't there and is now
container() {
  local owner=$1 name=$2 scope=()
  shift 2
  case "${there[$owner]}" in *"\\$name"$'\t'*) return 1 ;; esac
  if [ "$owner" = computer ]; then scope=(--machine); fi
  tool create "$name" ${scope[@]+"${scope[@]}"} "$@" >/dev/null || exit 1
  made=$((made + 1))
}

person='Иванов Иван Иванович' fixed='Not exportable (неэкспортируемый)' locked='С паролем (with a password)'
wrong='Wrong certificate (чужой сертификат)' damaged='Damaged (поврежден)'
for owner in user computer; do
  container $owner "$person" --keys xs --chain 2 --exportable || true
  container $owner "$locked" --password $password --exportable || true
done
container user 'Signature only (только подпись)' --keys s --exportable || true
container user "$fixed" || true
container user 'Usage ended (срок ключа истек)' --usage "$(day '3 years ago')" "$(day '1 year ago')" \
  --not-before "$(day '3 years ago')" --not-after "$(day '1 year')" || true
container user 'On a removable carrier (съемный носитель)' --carrier FLASH --exportable || true
if container user "$wrong"; then tool set "$wrong" certificate-x=other; fi
if container user "$damaged"; then tool set "$damaged" damage=1; fi

# What the dialog for saved passwords deletes: one, which opens nothing and is asked for all the same, and the record
# of a removable carrier, which is a section with nothing in it.
saved='\local\KeyDevices\passwords'
tool store get "$saved\75/REGISTRY/$locked\passwd" >/dev/null 2>&1 ||
  tool store put "$saved\75/REGISTRY/$locked\passwd" 0 --text
tool store put "$saved\FLASH\made" 1
tool store del "$saved\FLASH\made"

# Wine's desktop folder may be a link to the developer's own. Nothing is written outside the repository.
profile=$("$wine" cmd.exe /c 'echo %USERPROFILE%' </dev/null | tr -d '\r')
desktop=$WINEPREFIX/drive_c/$(printf '%s' "${profile#?:\\}" | tr '\\' /)/Desktop
if [ -L "$desktop" ]; then rm "$desktop"; fi
mkdir -p "$desktop"

# file NAME OPTIONS…: written again when the keys are others
file() {
  local name=$1
  shift
  if [ $made -eq 0 ] && [ -f "$desktop/$name" ]; then return; fi
  tool certificate "$@" --key x --out "$profile\\Desktop\\$name"
}
file 'Иванов (DER).cer' "$person"
file 'Not exportable (Base64).cer' "$fixed" --format base64
file 'Several certificates (PKCS 7).p7b' "$person" "$fixed" "$locked" --password $password
file 'Several certificates (serialized store).sst' "$person" "$fixed" "$locked" --password $password

if [ $made -gt 0 ]; then
  echo "demo: $made containers made; there are now"
  tool list | sed 's/\t/: /; s/^/  of the user      /'
  tool list --machine | sed 's/\t/: /; s/^/  of the computer  /'
fi
echo "demo: the password of «${locked}» is $password; certificate files of the containers lie on the desktop"
