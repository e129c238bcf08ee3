#!/bin/bash
# Formats the internal memory: format.sh 0 keeps the user's presets, format.sh 1 deletes them.
# Exit status: 0 success, 1 failure (the memory is unchanged), 2 wrong argument.
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# Rejects a memory with errors: damaged presets must not replace presets that a repair could recover.
save_presets() {
  show "Saving the presets... 20%"
  e2fsck -fn dev/memory >/dev/null 2>&1 || fail 1 "the internal memory is damaged, its presets cannot be kept"
  read_memory dev/memory "$scratch/content" /presets
  mkdir -p "$scratch/content/presets"
}

check_presets() {
  show "Checking the presets... 80%"
  mkdir "$scratch/back"
  read_memory "$scratch/memory" "$scratch/back" /presets
  diff -r "$scratch/content/presets" "$scratch/back/presets" >/dev/null 2>&1 ||
    fail 1 "the restored presets differ from the saved ones"
}

format() {
  local kib
  kib=$(cat etc/tonecrate/memory_kib 2>/dev/null) || fail 1 "the size of the internal memory is unknown"
  show "Formatting... 50%"
  make_file_system "$scratch/memory" "$kib" "$scratch/content" ||
    fail 1 "cannot create a file system of $kib KiB"
}

main() {
  [[ $# -eq 1 && ($1 == 0 || $1 == 1) ]] || fail 2 "usage: format.sh 0|1"
  enter_device
  [[ -f dev/memory ]] || fail 1 "there is no internal memory"
  mkdir -p tmp
  make_scratch tmp
  mkdir "$scratch/content"
  [[ $1 == 1 ]] || save_presets
  format
  [[ $1 == 1 ]] || check_presets
  mv -T "$scratch/memory" dev/memory
  show "Formatted 100%"
}

main "$@"
