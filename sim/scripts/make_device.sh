#!/bin/bash
# Creates the root folder of a simulated device: scripts, keys, and an internal memory with firmware 1.4.2 and the
# presets of the folder user_presets.
# Usage: make_device.sh ROOT KEYS   (ROOT is a new or empty folder; KEYS is a folder made by tonecrate-make-keys)
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

readonly memory_kib=32768
scripts=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")")
readonly scripts

# Firmware 2.0.0 replaces one of the files and removes the other.
make_memory_content() {
  mkdir -p "$1/firmware/boot" "$1/firmware/engine"
  echo 1.4.2 >"$1/version.txt"
  printf 'Tonecrate\nturn and push\n' >"$1/firmware/boot/greeting.txt"
  printf 'one voice\n' >"$1/firmware/engine/voices.conf"
  cp -R "$scripts/user_presets" "$1/presets"
}

make_root() {
  mkdir -p "$1/dev" "$1/tmp" "$1/usr/sbin" "$1/etc/tonecrate"
  cp "$scripts"/{decrypt,format,install,common}.sh "$1/usr/sbin/"
  cp "$2/signing.pub" "$2/firmware.key" "$1/etc/tonecrate/"
  echo "$memory_kib" >"$1/etc/tonecrate/memory_kib"
  make_file_system "$1/dev/memory" "$memory_kib" "$3"
}

main() {
  [[ $# -eq 2 ]] || fail 2 "usage: make_device.sh ROOT KEYS"
  local root
  [[ ! -e $1 || -z $(ls -A -- "$1") ]] || fail 1 "$1 is not an empty folder"
  [[ -s $2/signing.pub && -s $2/firmware.key ]] || fail 1 "$2 contains no keys"
  root=$(realpath -m -- "$1")
  make_scratch "${root%/*}/"
  make_memory_content "$scratch/content"
  make_root "$scratch/root" "$2" "$scratch/content"
  mv -T -- "$scratch/root" "$root"
}

main "$@"
