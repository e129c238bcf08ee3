#!/bin/bash
# Packs a folder into a firmware file: an archive of version.txt and firmware/, compressed, encrypted, then signed.
# Usage: pack_firmware.sh FOLDER VERSION KEYS OUT.fw   (KEYS is a folder made by make_keys.sh)
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# check_folder FOLDER: rejects content that the device's decrypt.sh would reject.
check_folder() {
  local path
  [[ -d $1 ]] || fail 1 "$1 is not a folder"
  [[ -n $(find "$1" -type f -print -quit) ]] || fail 1 "$1 contains no files"
  while IFS= read -r -d '' path; do
    is_plain_path "$path" || fail 1 "invalid file name: $path"
    [[ ! -L $1/$path && (-f $1/$path || -d $1/$path) ]] || fail 1 "$path is neither a file nor a folder"
  done < <(find "$1" -mindepth 1 -printf '%P\0')
}

# archive FOLDER: prints an archive that depends only on names, modes and content of the files.
archive() {
  tar --create --format=ustar --sort=name --owner=0 --group=0 --numeric-owner --mtime=@0 --mode=u=rwX,go=rX \
    --transform='s,^\.,firmware,' --directory="$scratch" version.txt --directory="$1" .
}

main() {
  [[ $# -eq 4 ]] || fail 2 "usage: pack_firmware.sh FOLDER VERSION KEYS OUT.fw"
  local folder out=$4 keys=$3
  check_folder "$1"
  folder=$(realpath -- "$1")
  is_version "$2" || fail 1 "\"$2\" is not a version: use at most 32 letters, digits, dots, + and -"
  [[ -s $keys/signing.key && -s $keys/firmware.key ]] || fail 1 "$keys contains no keys"
  [[ ! -d $out ]] || fail 1 "$out is a folder"
  make_scratch "$(realpath -m -- "$(dirname -- "$out")")"
  printf '%s\n' "$2" >"$scratch/version.txt"
  { print_container_magic && archive "$folder" | gzip -9n | run_cipher "$keys/firmware.key"; } >"$scratch/signed"
  openssl pkeyutl -sign -inkey "$keys/signing.key" -rawin -in "$scratch/signed" -out "$scratch/signature"
  cat "$scratch/signed" "$scratch/signature" >"$scratch/container"
  mv -T -- "$scratch/container" "$out"
}

main "$@"
