#!/usr/bin/env bash
# Creates demo containers, and certificate files that belong to them, in a prefix: build/prefix, or VESTRA_PREFIX.
# Containers that exist stay as they are; missing ones are created again. run.sh calls it.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/prefix.sh"
[ -n "${VESTRA_PREFIX:-}" ] || prepare
wine_environment

password=12345678
tool() { "$wine" "$repository/build/bin/softcsp.exe" "$@" </dev/null; }
day() { date -u -d "$1" +%F; }

# A removable carrier remains registered when it is pulled out, but its containers can be found only while it is plugged in.
tool carrier insert FLASH 2>/dev/null || tool carrier add FLASH

declare -A there
there[user]=$(tool list)
there[computer]=$(tool list --machine)
made=0
# container OWNER NAME OPTIONS…: true when the container was missing and has been created
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

# For the dialog that deletes saved passwords: a password, which no container uses, and the record of a removable
# carrier, which is an empty section.
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

# file NAME OPTIONS…: written again when the container has other keys
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
  echo "demo: $made containers created; all containers:"
  tool list | sed 's/\t/: /; s/^/  of the user      /'
  tool list --machine | sed 's/\t/: /; s/^/  of the computer  /'
fi
echo "demo: the password of «${locked}» is $password; the certificate files are on the desktop"
