#!/bin/sh
# Formats the internal memory: format.sh 0 keeps the presets, format.sh 1 deletes them.
# Installed as /usr/sbin/format.sh. Exit status: 0 success, 1 failure, 2 wrong argument.
# Formats nothing unless the unpacked firmware is complete and, with the presets, fits into the new file system.
# After a power cut during an update, format.sh 0 continues from the memory if it is complete, otherwise from the
# backup.
[ -r "${0%/sbin/*}/lib/tonecrate/common.sh" ] || exit 1
# shellcheck source=common.sh
. "${0%/sbin/*}/lib/tonecrate/common.sh"

scratch=$root/run/tonecrate/format
saved= # the folder that contains the complete presets and the version, on the memory or on the backup

# Sets `saved`. Repairs the file systems, but changes nothing else.
find_presets() {
  show "Checking the memory... 5%"
  require_backup
  repaired=yes
  repair "$memory_device" || repaired=no
  if mount_memory ro && memory_is_complete; then
    [ "$repaired" = yes ] || fail 1 "the internal memory is damaged"
    saved=$memory_mount
  elif unmount "$memory_mount" && repair "$backup_device" && mount_backup ro && backup_is_complete; then
    saved=$backup_mount/complete
    show "Continuing with saved presets... 30%"
  else
    fail 1 "neither the internal memory nor its backup is complete"
  fi
}

# measure_format: creates a trial of the new file system in a sparse file of the memory's size. Sets `total` and `free`
# (blocks), `block_size` (bytes) and `free_inodes`.
measure_format() {
  make_scratch && truncate -s "$(device_size "$memory_device")" "$scratch/trial" &&
    MKE2FS_DEVICE_SECTSIZE=$(sector_size "$memory_device") \
      make_file_system "$scratch/trial" -E lazy_itable_init=1,lazy_journal_init=1 &&
    dumpe2fs -h "$scratch/trial" >"$scratch/trial.txt" 2>/dev/null || return
  total=$(header "Block count") && free=$(header "Free blocks") && block_size=$(header "Block size") &&
    free_inodes=$(header "Free inodes")
}

# header FIELD: prints the number in FIELD of the superblock of $scratch/trial. Fails if it is missing.
header() {
  sed -n "s/^$1: *\([0-9][0-9]*\)$/\1/p" "$scratch/trial.txt" | grep .
}

# add_needs FOLDER: adds to `blocks` and `inodes` what FOLDER and everything in it need.
add_needs() {
  [ -d "$1" ] || return 0
  sizes=$(find "$1" -exec stat -c %s {} +) || return
  for size in $sizes; do
    blocks=$((blocks + (size + block_size - 1) / block_size))
    inodes=$((inodes + 1))
  done
}

# require_room [PRESETS]: fails unless the firmware and the folder PRESETS fit into the new file system. Each entry also
# uses up to a quarter of a block in its folder. The kernel reserves 2 % of the blocks, at most 4096; the margin is
# larger.
require_room() {
  blocks=64 inodes=16
  { add_needs "$unpacked/firmware" && { [ $# -eq 0 ] || add_needs "$1"; }; } || fail 1 "the files cannot be read"
  margin=$((total / 32))
  [ "$margin" -le 8192 ] || margin=8192
  blocks=$((blocks + inodes / 4 + margin))
  { [ "$blocks" -le "$free" ] && [ "$inodes" -le "$free_inodes" ]; } ||
    fail 1 "the files need $blocks blocks and $inodes inodes, but $free blocks and $free_inodes inodes are free"
}

# collect FOLDER: makes the content of FOLDER/presets appear in $content/new/presets, so that mke2fs copies it into a
# new file system. cp would need the privileges to change owners and to set setgid bits.
collect() {
  discard_content && mkdir -p "$attached" || return
  ! has_presets "$1" || attach "$1/presets" "$attached"
}

discard_content() {
  release "$attached" && rm -rf "$content"
}

save_presets() {
  show "Saving the presets... 15%"
  { collect "$memory_mount" && cp "$memory_mount/version.txt" "$content/new/" &&
    make_file_system "$backup_device" -d "$content" && discard_content; } ||
    fail 1 "the presets cannot be saved on $backup_device"
  show "Checking the saved presets... 30%"
  { mount_backup rw && same_presets "$memory_mount" "$backup_mount/new" &&
    cmp "$memory_mount/version.txt" "$backup_mount/new/version.txt" >&2; } ||
    fail 1 "the backup cannot be read or differs from the internal memory"
  # The kernel reports no error if it cannot write the rename, so the new name is read back from the disk.
  { mv "$backup_mount/new" "$backup_mount/complete" && unmount "$backup_mount" && mount_backup ro &&
    backup_is_complete; } || fail 1 "the saved presets cannot be marked complete"
}

# has_presets FOLDER
has_presets() {
  names=$(ls -A "$1") || fail 1 "$1 cannot be read"
  printf '%s\n' "$names" | grep -q -x presets || return
  [ -d "$1/presets" ] || fail 1 "$1/presets is not a folder"
}

# same_presets ORIGINAL COPY: succeeds when both folders contain the same presets.
same_presets() {
  if has_presets "$1"; then
    same_tree "$1/presets" "$2/presets"
  else
    [ -z "$(ls -A "$2/presets")" ]
  fi
}

# Marks the memory incomplete before it is formatted.
invalidate_memory() {
  show "Formatting... 45%"
  unmount "$memory_mount" || fail 1 "$memory_device is in use"
  if mount_memory rw; then
    rm -f "$memory_mount/version.txt"
    unmount "$memory_mount" || fail 1 "$memory_device is in use"
    { mount_memory ro && ! memory_is_complete && unmount "$memory_mount"; } ||
      fail 1 "the internal memory cannot be marked incomplete"
  fi
}

restore_presets() {
  show "Restoring the presets... 75%"
  { unmount "$backup_mount" && mount_backup ro && collect "$backup_mount/complete" &&
    make_file_system "$memory_device" -d "$content/new" && discard_content; } ||
    fail 1 "cannot create a file system with the presets on $memory_device"
  show "Checking the presets... 90%"
  { mount_memory ro && same_presets "$backup_mount/complete" "$memory_mount"; } ||
    fail 1 "the restored presets cannot be read or differ from the saved ones"
  list_tree "$memory_mount/presets" >"$unpacked/presets" || fail 1 "$unpacked cannot be written"
}

# Marks the backup incomplete and formats it. Also formats a backup that cannot be mounted, because a later repair could
# make it complete. Ignores failures, because a factory reset does not need the backup.
discard_backup() {
  show "Discarding saved presets... 15%"
  (require_backup) || return 0
  if mount_backup rw; then
    ! backup_is_complete || mv "$backup_mount/complete" "$backup_mount/old"
    unmount "$backup_mount" || return 0
  fi
  make_file_system "$backup_device" || printf '%s: the backup cannot be formatted\n' "$script_name" >&2
}

main() {
  require_firmware
  list_contents "$unpacked" | cmp -s - "$unpacked/contents" || fail 1 "the unpacked firmware has been changed"
  rm -f "$unpacked/formatted"
  require_memory
  measure_format || fail 1 "the size of the new file system cannot be measured"
  if [ "$1" = 0 ]; then
    require_room
    find_presets
    require_room "$saved/presets"
    [ "$saved" != "$memory_mount" ] || save_presets
    invalidate_memory
    restore_presets
  else
    require_room "$unpacked/firmware/presets-factory"
    discard_backup
    invalidate_memory
    make_file_system "$memory_device" || fail 1 "cannot create a file system on $memory_device"
  fi
  { unmount "$memory_mount" && unmount "$backup_mount"; } || fail 1 "the partitions are in use"
  show "Formatted 100%"
  echo "$1" >"$unpacked/formatted" || fail 1 "$unpacked cannot be written"
  succeed
}

{ [ $# -eq 1 ] && { [ "$1" = 0 ] || [ "$1" = 1 ]; }; } || usage "format.sh 0|1"
supervise "$1"
