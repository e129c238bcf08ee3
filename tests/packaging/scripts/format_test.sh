#!/bin/bash
# Tests that format.sh keeps the presets for an update and deletes them for a factory reset, and when it fails.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

# prepared CASE [ARGUMENT...]: runs a case after the firmware has been unpacked.
prepared() {
  prepare
  "$@"
}

# fails_untouched ARGUMENT...: format.sh fails and changes no byte of either partition.
fails_untouched() {
  local before
  before=$(hash_of memory.img)$(hash_of backup.img)
  expect 1 format.sh "$@"
  [[ $(hash_of memory.img)$(hash_of backup.img) == "$before" ]] ||
    { echo "format.sh $* changes a partition"; return 1; }
}

# presets_stay ARGUMENT: format.sh fails, and the memory keeps its presets and version.
presets_stay() {
  expect 1 format.sh "$1"
  e2fsck -fn memory.img
  debugfs -R "rdump / $PWD" memory.img 2>/dev/null
  rm -f presets/take.wav
  diff -r "$user_presets" presets
  [[ $(cat version.txt) == 1.4.2 ]]
}

keeps_presets_alone() {
  expect 0 format.sh 0
  e2fsck -fn memory.img
  mkdir seen
  debugfs -R "rdump / seen" memory.img 2>/dev/null
  diff -r "$user_presets" seen/presets
  [[ $(ls seen) == $'lost+found\npresets' ]]
}

reset_leaves_nothing() {
  expect 0 format.sh 1
  for image in memory.img backup.img; do
    e2fsck -fn "$image"
    rm -rf seen
    mkdir seen
    debugfs -R "rdump / seen" "$image" 2>/dev/null
    [[ $(ls seen) == lost+found ]]
  done
}

wrong_arguments() {
  local before arguments
  before=$(hash_of memory.img)
  for arguments in "" 2 00 "0 1"; do
    # shellcheck disable=SC2086 # several arguments
    expect 2 format.sh $arguments
  done
  [[ $(hash_of memory.img) == "$before" ]]
}

without_partition() {
  mv "$root/dev/$1" aside
  fails_untouched 0
  fails_untouched 1
  touch "$root/dev/$1"
  fails_untouched 0
  fails_untouched 1
}

without_backup() {
  mv "$root/dev/mmcblk0p4" aside
  fails_untouched 0
  touch "$root/dev/mmcblk0p4"
  fails_untouched 0
}

mounted_elsewhere() {
  mkdir -p "$root/elsewhere/the memory"
  mount "$(cat "$work/loops/mmcblk0p3")" "$root/elsewhere/the memory"
  expect 1 format.sh 0
  grep "mounted at /elsewhere/the memory: stop what uses it" err
  expect 1 format.sh 1
  umount "$root/elsewhere/the memory"
}

# mounted_outside_the_root [FOLDER]: the memory is mounted outside the chroot, as if in another namespace. FOLDER of the
# memory is also mounted in the chroot.
mounted_outside_the_root() {
  mkdir mounted
  mount "$(cat "$work/loops/mmcblk0p3")" mounted
  [[ -z ${1:-} ]] || mount --bind "mounted/$1" "$root/elsewhere"
  expect 1 format.sh 0
  expect 1 format.sh 1
  [[ $(cat mounted/version.txt) == 1.4.2 ]]
  umount -q "$root/elsewhere" || true
  umount mounted
}

used_as_swap() {
  mkswap "$root/dev/mmcblk0p4"
  swapon "$root/dev/mmcblk0p4" || { echo "this kernel does not support swap"; return 0; }
  presets_stay 0
  swapoff "$root/dev/mmcblk0p4"
}

one_device_for_both() {
  change_setting backup_device /dev/mmcblk0p3
  fails_untouched 0
}

# unpacked_is COMMAND...: COMMAND changes the unpacked firmware in /tmp/fw. format.sh must then fail and change neither
# partition.
unpacked_is() {
  (cd "$root/tmp/fw" && "$@")
  fails_untouched 0
  fails_untouched 1
}

without_firmware() {
  fails_untouched 0
  fails_untouched 1
}

# firmware_too_large SIZE: a firmware with a file of SIZE does not fit into the memory of 12 MiB.
firmware_too_large() {
  mkdir large
  truncate -s "$1" large/engine.bin
  "$maker/tonecrate-pack-firmware" large 3.0 "$work/keys" large.fw
  plug_firmware large.fw
  expect 0 decrypt.sh /dev/sda1
  fails_untouched 0
  fails_untouched 1
}

# The firmware and the presets each fit into the memory, but not both.
firmware_and_presets_too_large() {
  mkdir take large
  head -c 4M /dev/urandom >take/take.wav
  memory_command "write take/take.wav presets/take.wav"
  truncate -s 6M large/engine.bin
  "$maker/tonecrate-pack-firmware" large 3.0 "$work/keys" large.fw
  plug_firmware large.fw
  expect 0 decrypt.sh /dev/sda1
  presets_stay 0
  expect 0 format.sh 1
  expect 0 install.sh
}

# The margin that format.sh adds to the firmware's size must be small enough to accept a firmware that fits.
large_firmware_fits() {
  mkdir -p large
  head -c 9500K <(yes "a line of the engine") >large/engine.bin # packed faster than random data
  "$maker/tonecrate-pack-firmware" large 2.0.0 "$work/keys" large.fw
  plug_firmware large.fw
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 0
  expect 0 install.sh
  verify "$user_presets" large
}

too_many_files() {
  mkdir many
  seq -f 'many/%.0f' 3200 | xargs touch
  "$maker/tonecrate-pack-firmware" many 3.0 "$work/keys" many.fw
  plug_firmware many.fw
  expect 0 decrypt.sh /dev/sda1
  fails_untouched 0
  fails_untouched 1
}

# reset_without_backup COMMAND...: a factory reset succeeds after COMMAND has made the backup unusable.
reset_without_backup() {
  "$@"
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

read_only_backup() {
  unplug mmcblk0p4
  plug mmcblk0p4 backup.img 0 --read-only
}

# full_folder FOLDER: format.sh changes nothing when FOLDER, a tmpfs, is full.
full_folder() {
  dd if=/dev/zero of="$root/$1/filling" bs=1M 2>/dev/null || true
  fails_untouched 0
  fails_untouched 1
}

# /tmp/fw/formatted, which install.sh requires, cannot be written.
unmarked() {
  on_line "Formatted" 'dd if=/dev/mmcblk0p3 of=/tmp/filling bs=64k 2>/dev/null
    dd if=/dev/mmcblk0p4 of=/tmp/filling2 2>/dev/null'
  mount -o remount,size=1M "$root/tmp"
  run format.sh 0
  [[ $status -eq 1 ]] || { echo "exits $status"; return 1; }
  mount -o remount,size=40M "$root/tmp"
  rm "$root"/tmp/filling*
  reset_settings
  update
  verify "$user_presets"
}

other_run() {
  local before
  before=$(hash_of memory.img)
  mkdir -p "$root/run/tonecrate"
  exec 8>"$root/run/tonecrate/lock"
  flock 8
  expect 1 format.sh 0
  expect 1 format.sh 1
  expect 1 install.sh
  [[ $(hash_of memory.img) == "$before" && -d $root/tmp/fw ]]
  exec 8>&-
  expect 0 format.sh 0
}

presets_too_large() {
  mkdir more
  head -c 8M /dev/urandom >more/take.wav
  memory_command "write more/take.wav presets/take.wav"
  expect 1 format.sh 0
  [[ $(debugfs -R "cat presets/take.wav" memory.img 2>/dev/null | hash_of /dev/stdin) == "$(hash_of more/take.wav)" ]]
  [[ $(memory_command 'cat version.txt') == 1.4.2 ]]
}

# A power cut after the version was written leaves a complete memory and a complete, older backup.
older_backup() {
  update
  prepare
  on_line "Writing the version" ': >/run/last'
  cat >>"$root/etc/tonecrate/updater.conf" <<'END'
mount() {
  case $* in
  */run/tonecrate/backup) [ ! -e /run/last ] || kill -s KILL 0 ;;
  esac
  command mount "$@"
}
END
  expect 0 format.sh 0
  setsid --wait env -i --default-signal /usr/sbin/chroot "$root" /usr/sbin/install.sh >out 2>err </dev/null || true
  cut_power
  e2fsck -fy memory.img || [[ $? -le 2 ]]
  [[ $(memory_command 'cat version.txt') == 2.0.0 ]]
}

# e2fsck cannot repair the memory automatically, but the memory can be mounted and has a version.
damaged_memory_with_older_backup() {
  older_backup
  echo new >new.preset
  memory_command "write new.preset presets/new.preset"
  memory_command 'sif firmware mode 0100644'
  prepare
  expect 1 format.sh 0
  [[ $(memory_command 'cat presets/new.preset') == new ]]
}

# install.sh compares the presets with the list that format.sh wrote, so it does not need the backup.
backup_fails_before_install() {
  prepare
  expect 0 format.sh 0
  memory_command 'rm presets/night-bus.preset'
  unplug mmcblk0p4
  expect 1 install.sh
  [[ -z $(memory_command 'cat version.txt') ]]
}

# openssl cannot compute checksums.
without_checksums() {
  cat >>"$root/etc/tonecrate/updater.conf" <<'END'
find() { case $* in *openssl*) return 1 ;; *) command find "$@" ;; esac; }
END
  fails_untouched 0
}

presets_file() {
  mkdir content
  echo 1.4.2 >content/version.txt
  echo not a folder >content/presets
  mke2fs -q -F -t ext4 -d content memory.img 2>/dev/null
  expect 1 format.sh 0
  [[ $(memory_command 'cat presets') == "not a folder" ]]
}

# Block size and inode count depend on the size of the device's sectors.
large_sectors() {
  local before
  rm "$root/tmp/fw" -r
  unplug mmcblk0p3
  plug mmcblk0p3 memory.img 0 --sector-size=4096
  mke2fs -q -F -t ext4 -b 4096 -d "$work/content" memory.img 2>/dev/null
  mkdir many
  for i in {1..2500}; do echo "$i" >"many/$i"; done
  "$maker/tonecrate-pack-firmware" many 3.0 "$work/keys" many.fw
  plug_firmware many.fw
  expect 0 decrypt.sh /dev/sda1
  before=$(hash_of memory.img)
  expect 1 format.sh 0
  expect 1 format.sh 1
  [[ $(hash_of memory.img) == "$before" ]]
}

read_only_memory() {
  unplug mmcblk0p3
  plug mmcblk0p3 memory.img 0 --read-only
  fails_untouched 0
  grep "read-only" err
  fails_untouched 1
}

damaged_memory() {
  dd if=/dev/urandom of=memory.img bs=1K count=200 conv=notrunc status=none
  fails_untouched 0
  expect 0 format.sh 1
  e2fsck -fn memory.img
}

memory_without_version() {
  memory_command 'rm version.txt'
  expect 1 format.sh 0
  debugfs -R "rdump presets $PWD" memory.img 2>/dev/null
  diff -r "$user_presets" presets
}

# unfaithful_copy LINE: after the progress line LINE, the copy of a preset is truncated, without an error.
unfaithful_copy() {
  # shellcheck disable=SC2016 # for the script to expand
  on_line "$1" 'attach() { cp -a "$1/." "$2/" && find "$2" -name "*.s16" -exec truncate -s 10 {} \; ; }'
  run format.sh 0
  [[ $status -eq 1 ]] || { echo "exits $status"; return 1; }
}

# lost_write COMMAND REASON: COMMAND succeeds, but its changes of "complete" and version.txt never reach the disk.
# format.sh fails with REASON, and the next update keeps the presets.
lost_write() {
  echo "$1() { case \$* in *complete*|*version.txt*) ;; *) command $1 \"\$@\" ;; esac; }" >>"$root/etc/tonecrate/updater.conf"
  expect 1 format.sh 0
  grep "$2" err
  reset_settings
  update
  verify "$user_presets"
}

many_presets() {
  local i
  mkdir -p "content/presets/deep/er/and deeper" content/presets/empty
  for i in {1..200}; do head -c "$((i * 37))" /dev/urandom >"content/presets/deep/er/and deeper/täke $i.bin"; done
  ln -s "deep/er" content/presets/link
  mkfifo content/presets/pipe
  chmod 2770 content/presets/deep
  chmod 600 content/presets/deep/er/*/*7.bin
  echo 1.4.2 >content/version.txt
  mke2fs -q -F -t ext4 -d content memory.img 2>/dev/null
  update
  (cd content/presets && find . -printf '%P %M %U %l\n' | sort) >wanted_list
  rm content/presets/pipe # debugfs, which verify uses, does not copy pipes
  verify content/presets
  mount -o ro,loop memory.img "$root/elsewhere"
  (cd "$root/elsewhere/presets" && find . -printf '%P %M %U %l\n' | sort) >seen_list
  umount "$root/elsewhere"
  diff wanted_list seen_list
}

no_presets() {
  mkdir -p content none
  echo 1.4.2 >content/version.txt
  mke2fs -q -F -t ext4 -d content memory.img 2>/dev/null
  update
  verify none
}

it "format for an update keeps only the presets" prepared keeps_presets_alone
it "format for a factory reset leaves the memory and the backup empty" prepared reset_leaves_nothing
it "format exits 2 for wrong arguments" prepared wrong_arguments
it "format changes nothing without an unpacked firmware" without_firmware
it "format changes nothing when decrypt.sh has not finished" prepared unpacked_is rm contents
it "format changes nothing when a file of the firmware is missing" prepared unpacked_is rm firmware/engine/engine.bin
it "format changes nothing when a byte of the firmware is wrong" prepared unpacked_is flip firmware/engine/engine.bin 100
it "format changes nothing when the version is wrong" prepared unpacked_is flip version.txt 0
it "format changes nothing when a file was added" prepared unpacked_is touch firmware/added
it "format changes nothing when a mode was changed" prepared unpacked_is chmod 4755 firmware/engine/engine.bin
it "format changes nothing when /tmp/fw belongs to another user" prepared unpacked_is chown 1 .
it "format changes nothing when others can read /tmp/fw" prepared unpacked_is chmod 755 .
it "format changes nothing when the firmware does not fit into the memory" firmware_too_large 11M
it "format keeps the presets when the firmware and the presets do not both fit" firmware_and_presets_too_large
it "format changes nothing when the firmware has too many files" too_many_files
it "an update with a firmware that fills most of the memory succeeds" large_firmware_fits
it "format fails when the memory is missing or a regular file" prepared without_partition mmcblk0p3
it "format for an update fails when the backup is missing or a regular file" prepared without_backup
it "format fails when the memory is mounted" prepared mounted_elsewhere
it "format fails when the memory is mounted outside the chroot" prepared mounted_outside_the_root
it "format fails when only a folder of the memory is mounted in the chroot" prepared mounted_outside_the_root presets
it "format changes nothing when the memory is read-only" prepared read_only_memory
it "format changes nothing when checksums cannot be computed" prepared without_checksums
it "format rejects too many files for a memory with 4096-byte sectors" prepared large_sectors
it "format never replaces a complete but damaged memory with an older backup" damaged_memory_with_older_backup
it "format fails when the presets are not a folder" prepared presets_file
it "install detects a lost preset when the backup fails after formatting" backup_fails_before_install
it "format for an update fails when the backup is swap space" prepared used_as_swap
it "format for an update fails when the memory and the backup are the same device" prepared one_device_for_both
it "a factory reset succeeds without a backup partition" prepared reset_without_backup rm "$root/dev/mmcblk0p4"
it "a factory reset succeeds when the backup is read-only" prepared reset_without_backup read_only_backup
it "a factory reset succeeds when the backup contains garbage" prepared \
  reset_without_backup dd if=/dev/urandom of=backup.img bs=1M count=8 conv=notrunc status=none
it "format changes nothing when /run is full" prepared full_folder run
it "the presets survive when /tmp is full after formatting and the update is repeated" prepared unmarked
it "format and install fail while another script is running" prepared other_run
it "format fails and keeps presets that do not fit into the backup" prepared presets_too_large
it "format for an update rejects a damaged memory, and a factory reset formats it" prepared damaged_memory
it "format for an update rejects a memory without a version" prepared memory_without_version
it "format detects saved presets that differ from the originals" prepared unfaithful_copy "Saving"
it "format fails when the backup cannot be marked complete" prepared lost_write mv "cannot be marked complete"
it "format fails when the memory cannot be marked incomplete" prepared lost_write rm "cannot be marked incomplete"
it "format detects restored presets that differ from the saved ones" prepared unfaithful_copy "Restoring"
it "200 presets, links, pipes and modes survive an update" many_presets
it "an update of a device without presets adds none" no_presets
finish
