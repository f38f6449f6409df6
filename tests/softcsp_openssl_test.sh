#!/usr/bin/env bash
# The software provider against OpenSSL with its GOST engine, on all five curves: each side checks the other's signed
# messages and certificates and refuses damaged ones; both agree on the same key, on the two curves for that. Prints
# what is wrong.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d "$PWD/build/openssl-XXXXXX")  # absolute: the script changes its directory
trap 'rm -rf "$work"' EXIT
bin=$PWD/build/bin
wrong=0

peer() { ../../tools/wine.sh "$bin/softcsp_openssl_peer.exe" "$@" 2>>peer.log; }
ssl() { openssl "$@" >>openssl.log 2>&1; }
# expect RESULT WHAT COMMAND…: RESULT is yes (the command must succeed) or no
expect() {
  local result=$1 what=$2
  shift 2
  if "$@"; then local found=yes; else local found=no; fi
  if [ "$found" != "$result" ]; then
    echo "$curve: $what: expected $result, got $found"
    wrong=1
  fi
}
# damage FILE OFFSET-FROM-END: a copy of the file, $damaged, with one bit changed
damage() {
  damaged=damaged-$1
  cp "$1" "$damaged"
  local at=$(($(stat -c %s "$1") - $2))
  local byte
  byte=$(od -An -tu1 -j "$at" -N 1 "$1")
  printf "$(printf '\\%03o' $((byte ^ 1)))" | dd of="$damaged" bs=1 seek="$at" conv=notrunc status=none
}

openssl engine gost >/dev/null 2>&1 || { echo "OpenSSL's GOST engine is missing: tools/setup.sh installs it"; exit 1; }
cd "$work"
printf 'The text of a message, \0 and what follows.' >text
export OPENSSL_CONF=/dev/null CRYPT_PARAMS=1.2.643.2.2.31.1   # the cipher set, else another one

for row in A:1.2.643.2.2.35.1 B:1.2.643.2.2.35.2 C:1.2.643.2.2.35.3 XA:1.2.643.2.2.36.0 XB:1.2.643.2.2.36.1; do
  set=${row%%:*} curve=${row#*:}
  # Signed by the provider
  expect yes 'the provider signs' peer sign "$curve" text ours.cer ours.cms
  openssl x509 -engine gost -inform DER -in ours.cer -out ours.pem 2>>openssl.log || true
  expect yes 'OpenSSL verifies the certificate' ssl verify -engine gost -check_ss_sig -CAfile ours.pem ours.pem
  expect yes 'OpenSSL verifies the message' \
    ssl cms -verify -engine gost -inform DER -in ours.cms -noverify -binary -out read
  expect yes 'OpenSSL reads the text' cmp -s text read
  damage ours.cms 1
  expect no 'OpenSSL verifies a damaged signature' \
    ssl cms -verify -engine gost -inform DER -in "$damaged" -noverify -binary -out read
  damage ours.cer 1
  openssl x509 -engine gost -inform DER -in "$damaged" -out damaged.pem 2>>openssl.log || true
  expect no 'OpenSSL verifies a damaged certificate' \
    ssl verify -engine gost -check_ss_sig -CAfile damaged.pem damaged.pem

  # Signed by OpenSSL
  expect yes 'OpenSSL makes a certificate' ssl req -engine gost -x509 -newkey gost2001 -pkeyopt "paramset:$set" \
    -md_gost94 -nodes -subj /CN=Other -keyout theirs.key -out theirs.pem
  expect yes 'OpenSSL signs' ssl cms -sign -engine gost -md md_gost94 -nodetach -binary -in text -outform DER \
    -signer theirs.pem -inkey theirs.key -out theirs.cms
  openssl x509 -engine gost -in theirs.pem -outform DER -out theirs.cer 2>>openssl.log || true
  expect yes 'the provider verifies certificate and message' peer verify theirs.cer theirs.cms text
  damage theirs.cms 1
  expect no 'the provider verifies a damaged signature' peer verify theirs.cer "$damaged" text
  damage theirs.cer 1
  expect no 'the provider verifies a damaged certificate' peer verify "$damaged" theirs.cms text
  expect no "the provider verifies with another's certificate" peer verify ours.cer theirs.cms text

  [[ $curve == *.36.* ]] || continue   # only these are for keys that agree
  # A key agreed by both. The keying material is the number 1; the key encrypts zeros beyond the change of the key.
  expect yes 'the provider agrees' peer agree "$curve" theirs.cer ours.bin
  openssl x509 -engine gost -in ours.pem -pubkey -noout -out ours.pub.pem 2>>openssl.log || true
  expect yes 'OpenSSL agrees' ssl pkeyutl -derive -engine gost -inkey theirs.key -peerkey ours.pub.pem \
    -pkeyopt ukmhex:0100000000000000 -out agreed
  key=$(od -An -tx1 -v agreed 2>/dev/null | tr -d ' \n')
  expect yes 'OpenSSL encrypts with the agreed key' \
    ssl enc -engine gost -gost89 -K "$key" -iv 0102030405060708 -in <(head -c 2000 /dev/zero) -out theirs.bin
  expect yes 'both have agreed on the same key' cmp -s ours.bin theirs.bin
done
[ $wrong -eq 0 ] || tail -n 20 openssl.log peer.log
exit $wrong
