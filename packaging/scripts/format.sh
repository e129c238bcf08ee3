#!/bin/sh
# Formats the internal memory: format.sh 0 keeps the presets, format.sh 1 deletes them.
# Installed as /usr/sbin/format.sh. Exit status: 0 success, 1 failure, 2 wrong argument.
# After a power cut at any moment, format.sh 0 continues from the memory if it is complete, otherwise from the backup.
[ -r /usr/lib/tonecrate/common.sh ] || exit 1
# shellcheck source=common.sh
. /usr/lib/tonecrate/common.sh

# Does not change the memory on failure.
save_presets() {
  show "Checking the memory... 5%"
  if repair "$memory_device" && mount_memory ro && memory_is_complete; then
    write_backup
  elif unmount "$memory_mount" && repair "$backup_device" && mount_backup ro && backup_is_complete; then
    show "Going on with the saved presets... 30%"
  else
    fail 1 "neither the internal memory nor its backup is complete"
  fi
  { unmount "$memory_mount" && unmount "$backup_mount"; } || fail 1 "the partitions are in use"
}

write_backup() {
  show "Saving the presets... 15%"
  { make_file_system "$backup_device" && mount_backup rw && fill_backup "$backup_mount/new" &&
    unmount "$backup_mount"; } || fail 1 "the presets cannot be saved on $backup_device"
  show "Checking the saved presets... 30%"
  { mount_backup rw && same_presets "$memory_mount" "$backup_mount/new" &&
    cmp "$memory_mount/version.txt" "$backup_mount/new/version.txt" >&2; } ||
    fail 1 "the saved presets differ from the presets"
  mv "$backup_mount/new" "$backup_mount/complete" || fail 1 "the saved presets cannot be marked complete"
}

# fill_backup FOLDER
fill_backup() {
  mkdir "$1" && copy_presets "$memory_mount" "$1" && cp "$memory_mount/version.txt" "$1/"
}

# copy_presets FROM TO: creates an empty folder when there are no presets, so that install.sh adds no factory presets.
copy_presets() {
  if [ -d "$1/presets" ]; then
    cp -a "$1/presets" "$2/"
  else
    mkdir "$2/presets"
  fi
}

# same_presets ORIGINAL COPY: succeeds when both folders contain the same presets.
same_presets() {
  if [ -d "$1/presets" ]; then
    same_tree "$1/presets" "$2/presets"
  else
    [ -z "$(ls -A "$2/presets")" ]
  fi
}

# Marks the memory incomplete before its first block changes.
format_memory() {
  show "Formatting... 45%"
  if mount_memory rw; then
    rm -f "$memory_mount/version.txt"
    unmount "$memory_mount" || fail 1 "$memory_device is in use"
  fi
  make_file_system "$memory_device" || fail 1 "cannot create a file system on $memory_device"
}

restore_presets() {
  show "Restoring the presets... 75%"
  { mount_backup ro && mount_memory rw && copy_presets "$backup_mount/complete" "$memory_mount" &&
    unmount "$memory_mount"; } || fail 1 "the presets cannot be restored"
  show "Checking the presets... 90%"
  { mount_memory ro && same_presets "$backup_mount/complete" "$memory_mount"; } ||
    fail 1 "the restored presets differ from the saved ones"
}

# Removes the mark first. Also formats a backup that cannot be mounted, because a repair could restore the backup.
discard_backup() {
  if mount_backup rw; then
    ! backup_is_complete || mv "$backup_mount/complete" "$backup_mount/old"
    unmount "$backup_mount" || fail 1 "$backup_device is in use"
  fi
  make_file_system "$backup_device" || fail 1 "the saved presets cannot be discarded"
}

main() {
  { [ $# -eq 1 ] && { [ "$1" = 0 ] || [ "$1" = 1 ]; }; } || fail 2 "usage: format.sh 0|1"
  require_partitions
  if [ "$1" = 0 ]; then
    save_presets
    format_memory
    restore_presets
  else
    discard_backup
    format_memory
  fi
  { unmount "$memory_mount" && unmount "$backup_mount"; } || fail 1 "the partitions are in use"
  show "Formatted 100%"
  succeed
}

main "$@"
