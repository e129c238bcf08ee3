#!/bin/bash
# Generates keys: signing.key and signing.pub (Ed25519), and firmware.key (one line, the pass phrase for AES-256).
# Usage: make_keys.sh KEYS   (KEYS is a new or empty folder)
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

main() {
  [[ $# -eq 1 ]] || fail 2 "usage: make_keys.sh KEYS"
  [[ ! -e $1 || -z $(ls -A -- "$1") ]] || fail 1 "$1 is not an empty folder"
  umask 077
  make_scratch "$(dirname -- "$1")"
  mkdir "$scratch/keys"
  openssl genpkey -algorithm ed25519 -out "$scratch/keys/signing.key" 2>/dev/null
  openssl pkey -in "$scratch/keys/signing.key" -pubout -out "$scratch/keys/signing.pub"
  openssl rand -hex -out "$scratch/keys/firmware.key" 32
  mv -T -- "$scratch/keys" "$1"
}

main "$@"
