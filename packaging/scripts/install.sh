#!/bin/sh
# Copies the unpacked firmware to the internal memory, reads it back and compares it, and then writes version.txt.
# In a factory reset, also installs the firmware's presets-factory as presets.
# Installed as /usr/sbin/install.sh. Exit status: 0 success, 1 failure, 2 wrong argument.
# Requires that format.sh has finished. Removes the unpacked firmware when it ends, also after a failure.
[ -r "${0%/sbin/*}/lib/tonecrate/common.sh" ] || exit 1
# shellcheck source=common.sh
. "${0%/sbin/*}/lib/tonecrate/common.sh"

scratch=$unpacked
firmware=$unpacked/firmware

# Sets `mode` to the argument of format.sh.
require_formatted() {
  mode=
  [ ! -f "$unpacked/formatted" ] || read -r mode <"$unpacked/formatted" || :
  { [ "$mode" = 0 ] || [ "$mode" = 1 ]; } || fail 1 "the internal memory has not been formatted"
}

open_memory() {
  show "Checking the memory... 5%"
  { repair "$memory_device" && mount_memory rw; } || fail 1 "$memory_device has no usable file system"
  { rm -f "$memory_mount/version.txt" && sync -f "$memory_mount" && rm -rf "$memory_mount/firmware"; } ||
    fail 1 "the old firmware cannot be removed"
}

copy_folders() {
  (cd "$firmware" && find . -type d) | sort | while IFS= read -r path; do
    { mkdir -p "$memory_mount/firmware/$path" &&
      chmod "$(stat -c %a "$firmware/$path")" "$memory_mount/firmware/$path"; } || exit 1
  done
}

# Copies the files in batches, each from one folder and of at most 1/60 of all files plus one. After each batch, shows
# progress, from 10 % to 70 %.
copy_files() {
  count=$(find "$firmware" -type f | wc -l)
  copied=0
  find "$firmware" -type f | sort | {
    set --
    while IFS= read -r file; do
      if [ $# -gt $((count / 60)) ] || { [ $# -gt 0 ] && [ "${file%/*}" != "${1%/*}" ]; }; then
        copy_batch "$@" || exit 1
        set --
      fi
      set -- "$@" "$file"
    done
    copy_batch "$@"
  }
}

# copy_batch FILE...: copies files of the same folder.
copy_batch() {
  folder=${1%/*}
  cp -p "$@" "$memory_mount/firmware${folder#"$firmware"}/" || return
  copied=$((copied + $#))
  show "Installing... $((10 + copied * 60 / count))%"
}

copy_factory_presets() {
  rm -rf "$memory_mount/presets" || return
  if [ -d "$firmware/presets-factory" ]; then
    cp -a "$firmware/presets-factory" "$memory_mount/presets"
  else
    mkdir "$memory_mount/presets"
  fi
}

write_files() {
  { copy_folders && copy_files; } || fail 1 "the files cannot be written to the internal memory"
  [ "$mode" = 0 ] || copy_factory_presets || fail 1 "the factory presets cannot be written"
  show "Writing to the disk... 75%"
  unmount "$memory_mount" || fail 1 "the files cannot be written"
}

check_files() {
  show "Checking the files... 80%"
  mount_memory rw || fail 1 "$memory_device cannot be mounted"
  { list_tree "$memory_mount/firmware" && cat "$unpacked/version.txt"; } | cmp -s - "$unpacked/contents" ||
    fail 1 "the installed files cannot be read or differ from the firmware"
  check_presets
}

# In an update, compares the presets with the list that format.sh wrote: the backup may have become unreadable since. In
# a factory reset, compares them with presets-factory, if the firmware contains it.
check_presets() {
  if [ "$mode" = 0 ]; then
    list_tree "$memory_mount/presets" | cmp -s - "$unpacked/presets" ||
      fail 1 "the presets cannot be read or differ from the saved ones"
  elif [ -d "$firmware/presets-factory" ]; then
    same_tree "$firmware/presets-factory" "$memory_mount/presets" ||
      fail 1 "the installed presets cannot be read or differ from the factory presets"
  fi
}

# The rename makes the memory complete.
write_version() {
  show "Writing the version... 95%"
  { cp "$unpacked/version.txt" "$memory_mount/version.new" && unmount "$memory_mount" && mount_memory rw &&
    cmp "$unpacked/version.txt" "$memory_mount/version.new" >&2 &&
    mv "$memory_mount/version.new" "$memory_mount/version.txt" && unmount "$memory_mount" && mount_memory ro &&
    cmp "$unpacked/version.txt" "$memory_mount/version.txt" >&2 && unmount "$memory_mount"; } ||
    fail 1 "the version cannot be written"
}

# Deletes the backup, from which a later update would restore old presets if the memory were damaged. Ignores failures,
# because a complete memory takes precedence over the backup.
drop_backup() {
  (require_backup) || return 0
  if ! mount_backup rw; then
    make_file_system "$backup_device" || : # a later repair could make the backup complete
    return
  fi
  if backup_is_complete; then
    mv "$backup_mount/complete" "$backup_mount/old"
    sync -f "$backup_mount"
  fi
  rm -rf "$backup_mount/old"
}

main() {
  require_firmware
  require_formatted
  require_memory
  open_memory
  write_files
  check_files
  write_version
  drop_backup
  show "Installed 100%"
  succeed
}

[ $# -eq 0 ] || usage "install.sh"
# shellcheck disable=SC2119 # no arguments
supervise
