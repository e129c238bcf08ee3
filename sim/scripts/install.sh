#!/bin/bash
# Copies the unpacked firmware and its version into the internal memory, then reads everything back and compares it.
# After a factory reset, when the memory has no presets folder, installs the firmware's presets-factory as presets.
# Exit status: 0 success, 1 failure (the memory is unchanged), 2 wrong argument.
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

readonly firmware=tmp/fw/firmware version=tmp/fw/version.txt
files_total=0 files_written=0
new_presets= # the folder of presets to install; empty when the memory keeps its presets

count_files() {
  files_total=$(find "$firmware" ${new_presets:+"$new_presets"} -type f -printf x | wc -c)
}

choose_presets() {
  if debugfs -R 'ls -p /' "$scratch/memory" 2>/dev/null | grep -F '/presets/' >/dev/null; then return; fi
  new_presets=$firmware/presets-factory
  [[ -d $new_presets ]] || new_presets=$(mktemp -d "$scratch/presets.XXXXXX")
}

show_file_progress() {
  files_written=$((files_written + 1))
  show "Installing... $((files_written * 80 / files_total))%"
}

# tree_commands FOLDER TARGET: prints the debugfs commands that copy a tree. Progress goes to descriptor 3.
# debugfs creates files in its current folder, so each command changes it first.
tree_commands() {
  local path target parent
  while IFS= read -r -d '' path; do
    target=$2${path#"$1"}
    parent=${target%/*}
    printf 'cd "%s"\n' "${parent:-/}"
    if [[ -d $path ]]; then
      printf 'mkdir "%s"\n' "${target##*/}"
    else
      printf 'write "%s" "%s"\n' "$path" "${target##*/}"
      show_file_progress >&3
    fi
  done < <(find "$1" -print0 | sort -z)
}

all_commands() {
  tree_commands "$firmware" /firmware
  [[ -z $new_presets ]] || tree_commands "$new_presets" /presets
  printf 'cd /\nwrite "%s" version.txt\n' "$version"
}

# Ignores errors of debugfs, because check_memory detects all of them.
write_memory() {
  { all_commands | debugfs -w -f /dev/stdin "$scratch/memory" >/dev/null 2>&1 || true; } 3>&1
}

same_tree() {
  diff -r "$1" "$2" >/dev/null 2>&1 ||
    fail 1 "the files do not fit into the internal memory or differ from the firmware"
}

check_memory() {
  show "Checking the files... 90%"
  mkdir "$scratch/back"
  read_memory "$scratch/memory" "$scratch/back" /firmware /presets /version.txt
  same_tree "$firmware" "$scratch/back/firmware"
  same_tree "$version" "$scratch/back/version.txt"
  [[ -z $new_presets ]] || same_tree "$new_presets" "$scratch/back/presets"
}

main() {
  [[ $# -eq 0 ]] || fail 2 "usage: install.sh"
  enter_device
  [[ -d $firmware && -s $version ]] || fail 1 "there is no unpacked firmware"
  [[ -f dev/memory ]] || fail 1 "there is no internal memory"
  make_scratch tmp
  cp --sparse=always dev/memory "$scratch/memory"
  choose_presets
  count_files
  write_memory
  check_memory
  mv -T "$scratch/memory" dev/memory
  show "Installed 100%"
}

main "$@"
