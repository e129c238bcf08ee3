#!/bin/sh
# Copies the unpacked firmware to the internal memory, reads it back and compares it, and then writes version.txt.
# After a factory reset, when the memory has no presets folder, installs the firmware's presets-factory as presets.
# Installed as /usr/sbin/install.sh. Exit status: 0 success, 1 failure, 2 wrong argument.
[ -r /usr/lib/tonecrate/common.sh ] || exit 1
# shellcheck source=common.sh
. /usr/lib/tonecrate/common.sh

firmware=$unpacked/firmware
new_presets= # the folder of presets to install; empty when the memory keeps its presets

open_memory() {
  show "Checking the memory... 5%"
  { repair "$memory_device" && mount_memory rw; } || fail 1 "$memory_device has no usable file system"
  { rm -f "$memory_mount/version.txt" && sync -f "$memory_mount" && rm -rf "$memory_mount/firmware"; } ||
    fail 1 "the old firmware cannot be removed"
}

copy_folders() {
  (cd "$firmware" && find . -type d) | sort | while IFS= read -r path; do
    mkdir -p "$memory_mount/firmware/$path" || exit 1
  done
}

# Shows progress from 10 % to 70 %.
copy_files() {
  count=$(find "$firmware" -type f | wc -l)
  done_count=0
  (cd "$firmware" && find . -type f) | sort | while IFS= read -r path; do
    cp -p "$firmware/$path" "$memory_mount/firmware/$path" || exit 1
    done_count=$((done_count + 1))
    show "Installing... $((10 + done_count * 60 / count))%"
  done
}

copy_new_presets() {
  [ ! -d "$memory_mount/presets" ] || return 0
  new_presets=$firmware/presets-factory
  if [ -d "$new_presets" ]; then
    cp -a "$new_presets" "$memory_mount/presets"
  else
    new_presets=
    mkdir "$memory_mount/presets"
  fi
}

write_files() {
  { copy_folders && copy_files && copy_new_presets; } || fail 1 "the files do not fit into the internal memory"
  show "Writing to the disk... 75%"
  unmount "$memory_mount" || fail 1 "the files cannot be written"
}

check_files() {
  show "Checking the files... 80%"
  { mount_memory rw && same_tree "$firmware" "$memory_mount/firmware"; } ||
    fail 1 "the installed files differ from the firmware"
  [ -z "$new_presets" ] || same_tree "$new_presets" "$memory_mount/presets" ||
    fail 1 "the installed presets differ from the factory presets"
}

# The rename makes the memory complete.
write_version() {
  show "Writing the version... 95%"
  { cp "$unpacked/version.txt" "$memory_mount/version.new" && unmount "$memory_mount" && mount_memory rw &&
    cmp "$unpacked/version.txt" "$memory_mount/version.new" >&2 &&
    mv "$memory_mount/version.new" "$memory_mount/version.txt" && unmount "$memory_mount"; } ||
    fail 1 "the version cannot be written"
}

# Does not report failures, because a complete memory takes precedence over the backup. An undeleted backup would
# restore old presets after later damage to the memory.
drop_backup() {
  if ! mount_backup rw; then
    make_file_system "$backup_device" || : # otherwise a repair could restore the backup
    return
  fi
  if backup_is_complete; then
    mv "$backup_mount/complete" "$backup_mount/old"
    sync -f "$backup_mount"
  fi
  rm -rf "$backup_mount/old"
}

main() {
  [ $# -eq 0 ] || fail 2 "usage: install.sh"
  { [ -d "$firmware" ] && [ -s "$unpacked/version.txt" ]; } || fail 1 "there is no unpacked firmware"
  require_partitions
  open_memory
  write_files
  check_files
  write_version
  drop_backup
  show "Installed 100%"
  succeed
}

main "$@"
