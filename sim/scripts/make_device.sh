#!/bin/bash
# Creates the root folder of a simulated device: the device scripts, keys, an internal memory with a firmware and the
# presets of the folder user_presets, and an empty backup.
# Usage: make_device.sh ROOT KEYS [MEMORY_KIB [USABLE_KIB [VERSION]]]
# ROOT is a new or empty folder. KEYS is a folder with signing.pub and firmware.key. MEMORY_KIB is the size of the
# memory (default: 8192). USABLE_KIB is the total size of the files that a worn memory accepts; 0 (default): no limit.
# VERSION is the version of the firmware (default: 1.4.2), or none for a memory without firmware.
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

scripts=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")")
readonly scripts device_scripts=$scripts/../../packaging/scripts backup_kib=8192

# make_memory_content FOLDER VERSION: creates the presets and, unless VERSION is none, a firmware. The firmware in
# sim/firmware has a different greeting.txt and no voices.conf, so an update must replace and remove files.
make_memory_content() {
  mkdir "$1"
  cp -R "$scripts/user_presets" "$1/presets"
  [[ $2 != none ]] || return 0
  mkdir -p "$1/firmware/boot" "$1/firmware/engine"
  echo "$2" >"$1/version.txt"
  printf 'Tonecrate\nturn and push\n' >"$1/firmware/boot/greeting.txt"
  printf 'one voice\n' >"$1/firmware/engine/voices.conf"
}

make_root() {
  mkdir -p "$1/dev" "$1/tmp" "$1/run" "$1/usr/sbin" "$1/usr/lib/tonecrate" "$1/etc/tonecrate"
  cp "$device_scripts"/{decrypt,format,install}.sh "$1/usr/sbin/"
  cp "$device_scripts"/{common,container}.sh "$scripts/images.sh" "$1/usr/lib/tonecrate/"
  cp "$scripts/updater.conf" "$2/signing.pub" "$2/firmware.key" "$1/etc/tonecrate/"
  make_file_system "$1/dev/memory" "$4" "$3"
  truncate -s "${backup_kib}K" "$1/dev/backup"
}

main() {
  [[ $# -ge 2 && $# -le 5 && ${3:-1} =~ ^[1-9][0-9]{0,8}$ && ${4:-0} =~ ^[0-9]{1,9}$ &&
    ${5:-none} =~ ^[A-Za-z0-9.+-]{1,32}$ ]] ||
    fail 2 "usage: make_device.sh ROOT KEYS [MEMORY_KIB [USABLE_KIB [VERSION]]]"
  local root
  [[ ! -e $1 || -z $(ls -A -- "$1") ]] || fail 1 "$1 is not an empty folder"
  [[ -s $2/signing.pub && -s $2/firmware.key ]] || fail 1 "signing.pub or firmware.key is missing or empty in $2"
  root=$(realpath -m -- "$1")
  make_scratch "${root%/*}/"
  make_memory_content "$scratch/content" "${5:-1.4.2}"
  make_root "$scratch/root" "$2" "$scratch/content" "${3:-8192}"
  echo "usable_kib=${4:-0}" >>"$scratch/root/etc/tonecrate/updater.conf"
  mv -T -- "$scratch/root" "$root"
}

main "$@"
