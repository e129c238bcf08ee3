#!/bin/bash
# Checks that the file system in ROOT/dev/memory is undamaged, and that its version, firmware files and presets are
# exactly the expected ones.
# Usage: verify_memory.sh ROOT FIRMWARE_FOLDER VERSION kept|lost
# VERSION none: the memory must contain no version.txt; firmware files are not checked.
# kept: exactly the presets of the folder user_presets; lost: exactly those of FIRMWARE_FOLDER/presets-factory, or no
# presets if this folder does not exist.
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

scripts=$(dirname -- "${BASH_SOURCE[0]}")
readonly scripts

# expect_tree EXPECTED ACTUAL NAME: fails when the folders differ.
expect_tree() {
  local difference
  difference=$(diff -rq -- "$1" "$2" 2>&1 | head -n 1) || true
  [[ -z $difference ]] || fail 1 "wrong $3: $difference"
}

expected_presets() {
  if [[ $1 == kept ]]; then
    echo "$scripts/user_presets"
  elif [[ -d $2/presets-factory ]]; then
    echo "$2/presets-factory"
  else
    mkdir "$scratch/no_presets"
    echo "$scratch/no_presets"
  fi
}

main() {
  [[ $# -eq 4 && ($4 == kept || $4 == lost) ]] ||
    fail 2 "usage: verify_memory.sh ROOT FIRMWARE_FOLDER VERSION kept|lost"
  [[ -f $1/dev/memory ]] || fail 1 "$1 has no internal memory"
  [[ -d $2 ]] || fail 1 "$2 is not a folder"
  local presets installed
  make_scratch "${TMPDIR:-/tmp}"
  ln -s -- "$(realpath -- "$1")/dev/memory" "$scratch/memory"
  e2fsck -fn "$scratch/memory" >/dev/null 2>&1 || fail 1 "the file system of the internal memory is damaged"
  read_memory "$scratch/memory" "$scratch" /firmware /presets /version.txt
  installed=$(cat "$scratch/version.txt" 2>/dev/null) || installed=none
  [[ $installed == "$3" ]] || fail 1 "wrong version: \"$installed\" instead of \"$3\""
  [[ $3 == none ]] || expect_tree "$2" "$scratch/firmware" firmware
  presets=$(expected_presets "$4" "$2")
  expect_tree "$presets" "$scratch/presets" presets
  if [[ $3 == none ]]; then
    echo "internal memory verified: no firmware, presets $4"
  else
    echo "internal memory verified: firmware $3, $(find "$2" -type f -printf x | wc -c) files, presets $4"
  fi
}

main "$@"
