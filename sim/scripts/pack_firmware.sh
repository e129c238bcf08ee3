#!/bin/bash
# Packs a folder into a firmware file: archive of version.txt and firmware/, compressed, encrypted, then signed.
# Usage: pack_firmware.sh FOLDER VERSION KEYS OUT.fw   (KEYS as made by make_keys.sh)
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# check_folder FOLDER: the device refuses what is refused here.
check_folder() {
  local path
  [[ -d $1 ]] || fail 1 "$1 is not a folder"
  [[ -n $(find "$1" -type f -print -quit) ]] || fail 1 "$1 holds no files"
  while IFS= read -r -d '' path; do
    is_plain_path "$path" || fail 1 "a device cannot hold a file named $path"
    [[ ! -L $1/$path && (-f $1/$path || -d $1/$path) ]] || fail 1 "$path is neither a file nor a folder"
  done < <(find "$1" -mindepth 1 -printf '%P\0')
}

# archive FOLDER: equal input gives equal bytes.
archive() {
  tar --create --format=ustar --sort=name --owner=0 --group=0 --numeric-owner --mtime=@0 --mode=u=rwX,go=rX \
    --transform='s,^\.,firmware,' --directory="$scratch" version.txt --directory="$1" .
}

main() {
  [[ $# -eq 4 ]] || fail 2 "usage: pack_firmware.sh FOLDER VERSION KEYS OUT.fw"
  local folder out=$4 keys=$3
  check_folder "$1"
  folder=$(realpath -- "$1")
  is_version "$2" || fail 1 "\"$2\" is not a version: one word of letters, digits, dots, + and -"
  [[ -s $keys/signing.key && -s $keys/firmware.key ]] || fail 1 "$keys holds no keys"
  [[ ! -d $out ]] || fail 1 "$out is a folder"
  make_scratch "$(realpath -m -- "$(dirname -- "$out")")"
  printf '%s\n' "$2" >"$scratch/version.txt"
  { print_container_magic && archive "$folder" | gzip -9n | run_cipher "$keys/firmware.key"; } >"$scratch/signed"
  openssl pkeyutl -sign -inkey "$keys/signing.key" -rawin -in "$scratch/signed" -out "$scratch/signature"
  cat "$scratch/signed" "$scratch/signature" >"$scratch/container"
  mv -T -- "$scratch/container" "$out"
}

main "$@"
