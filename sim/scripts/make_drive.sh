#!/bin/bash
# Creates the image of a USB drive: a FAT file system with the given files, in one partition at 1 MiB or, with
# --no-partition, on the whole drive.
# Usage: make_drive.sh [--no-partition] OUT.img [FILE...]
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# size_mib FILE...: prints the size of the image in MiB, at least 32.
size_mib() {
  local bytes=0 mib
  [[ $# -eq 0 ]] || bytes=$(cat -- "$@" | wc -c)
  mib=$((bytes / 1048576 + 8))
  echo $((mib > 32 ? mib : 32))
}

# make_image IMAGE MIB FIRST_SECTOR: creates an image with one partition, or without a partition table when
# FIRST_SECTOR is 0.
make_image() {
  truncate -s "$2M" "$1"
  [[ $3 -eq 0 ]] || sfdisk -q "$1" <<<"start=$3, type=c"
  mkfs.vfat -n TONECRATE --offset="$3" -h "$3" "$1" $(($2 * 1024 - $3 / 2)) >/dev/null
}

main() {
  local first_sector=2048 out file paths=()
  if [[ ${1:-} == --no-partition ]]; then
    first_sector=0
    shift
  fi
  [[ $# -ge 1 && $1 != -* ]] || fail 2 "usage: make_drive.sh [--no-partition] OUT.img [FILE...]"
  out=$(realpath -m -- "$1")
  shift
  for file in "$@"; do
    [[ -f $file && -r $file ]] || fail 1 "cannot read $file"
    paths+=("$(realpath -s -- "$file")")
  done
  [[ ! -d $out ]] || fail 1 "$out is a folder"
  make_scratch "${out%/*}/"
  cd "$scratch"
  make_image image "$(size_mib "${paths[@]}")" "$first_sector"
  [[ $# -eq 0 ]] || mcopy -o -i "image@@$((first_sector * 512))" "${paths[@]}" :: </dev/null
  mv -T -- image "$out"
}

main "$@"
