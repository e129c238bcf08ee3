#!/bin/bash
# Tests decrypt.sh: drives, firmware files, the state of the device, interruptions.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

partitioned_drive() {
  local before
  before=$(hash_of memory.img)
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  diff -r "$firmware" "$root/tmp/fw/firmware"
  [[ $(cat "$root/tmp/fw/version.txt") == 2.0.0 && $(cat "$root/tmp/fw/version.old.txt") == 1.4.2 ]]
  [[ $(ls "$root/tmp/fw") == $'contents\nfirmware\nversion.old.txt\nversion.txt' ]]
  [[ $(stat -c %a "$root/tmp/fw") == 700 ]]
  [[ $(hash_of memory.img) == "$before" ]]
}

drive_without_partition() {
  dd if="$work/drive.img" of=whole.img bs=1M skip=1 status=none
  plug sda whole.img
  expect 0 decrypt.sh /dev/sda
  diff -r "$firmware" "$root/tmp/fw/firmware"
}

name_in_capitals() {
  cp "$work/tonecrate.fw" TONECRATE.FW
  make_drive drive.img TONECRATE.FW
  plug_drive drive.img
  expect 0 decrypt.sh /dev/sda1
}

no_drive() {
  expect 1 decrypt.sh /dev/sda1
  touch "$root/dev/sda1"
  expect 1 decrypt.sh /dev/sda1
  expect 1 decrypt.sh
  expect 1 decrypt.sh ""
  expect 1 decrypt.sh /dev/sda1 /dev/sda
}

unreadable_drive() {
  truncate -s 5M blank.img
  plug_drive blank.img
  expect 1 decrypt.sh /dev/sda
  head -c 2M /dev/urandom >garbage.img
  unplug sda
  plug sda garbage.img
  expect 1 decrypt.sh /dev/sda
}

drive_without_firmware() {
  make_drive drive.img
  plug_drive drive.img
  expect 2 decrypt.sh /dev/sda1
}

drive_with_similar_names() {
  cp "$work/tonecrate.fw" "my tonecrate.fw"
  cp "$work/tonecrate.fw" tonecrate.fw.old
  make_drive drive.img "my tonecrate.fw" tonecrate.fw.old
  plug_drive drive.img
  expect 2 decrypt.sh /dev/sda1
}

# without_file FILE STATUS: decrypt.sh exits with STATUS when FILE, a path below the root, is missing.
without_file() {
  plug_drive
  mv "$root/$1" aside
  run decrypt.sh /dev/sda1
  mv aside "$root/$1"
  [[ $status -eq $2 ]] || { echo "exits $status"; return 1; }
  tidy
}

# expect_reason TEXT: decrypt.sh exits with 4, and its last progress line, which stays on the screen, is TEXT.
expect_reason() {
  expect 4 decrypt.sh /dev/sda1
  [[ $(tail -n 1 out) == "SHOW: $1" ]] || { echo "shows: $(tail -n 1 out)"; return 1; }
  [[ ! -e $root/tmp/fw ]]
}

larger_than_memory() {
  plug_drive
  mount -o remount,size=1M "$root/tmp"
  expect_reason "Failed: needs 10 MB of memory"
}

# shortage COMMAND: COMMAND takes space in /tmp after decrypt.sh has measured the free space and before tar writes.
shortage() {
  if [[ ! -e $work/large.fw ]]; then # packing random data takes a second
    mkdir large
    head -c 6M /dev/urandom >large/firmware.bin
    "$maker/tonecrate-pack-firmware" large 2.0.0 "$work/keys" "$work/large.fw"
  fi
  plug_firmware "$work/large.fw"
  mount -o remount,size=17M "$root/tmp"
  mknod "$root/dev/zero" c 1 5
  on_line "Unpacking... 15" "$1"
  expect_reason "Failed: not enough memory in /tmp"
}

# shows_reason TEXT COMMAND...: COMMAND changes the device so that decrypt.sh fails with TEXT as its reason.
shows_reason() {
  plug_drive
  "${@:2}"
  run decrypt.sh /dev/sda1
  reset_settings
  [[ $status -eq 4 && $(tail -n 1 out) == "SHOW: Failed: $1" ]] || { echo "exits $status: $(tail -n 1 out)"; return 1; }
}

other_run() {
  mkdir -p "$root/run/tonecrate"
  exec 8>"$root/run/tonecrate/lock"
  flock 8
}

# full_memory LINE: /tmp becomes full at the progress line LINE.
full_memory() {
  plug_drive
  mount -o remount,size=12M "$root/tmp"
  on_line "$1" 'cat /dev/zero >/tmp/filling 2>/dev/null'
  mknod "$root/dev/zero" c 1 5
  expect_reason "Failed: not enough memory in /tmp"
}

# older VERSION MINIMUM: decrypt.sh rejects a firmware of VERSION when the minimum is MINIMUM.
older() {
  change_setting minimum_version "$2"
  archive_parts
  echo "$1" >version.txt
  tar -cf archive version.txt firmware
  seal archive old.fw
  plug_firmware old.fw
  expect_reason "Failed: older than the minimum version"
}

allowed() {
  change_setting minimum_version "$2"
  archive_parts
  echo "$1" >version.txt
  tar -cf archive version.txt firmware
  seal archive new.fw
  plug_firmware new.fw
  expect 0 decrypt.sh /dev/sda1
}

mounted_memory() {
  plug_drive
  mkdir -p "$root/elsewhere/the memory"
  mount -o "$1" "$(cat "$work/loops/mmcblk0p3")" "$root/elsewhere/the memory"
  expect 0 decrypt.sh /dev/sda1
  umount "$root/elsewhere/the memory"
  [[ $(cat "$root/tmp/fw/version.old.txt") == 1.4.2 ]]
}

mounted_outside_the_root() {
  plug_drive
  mkdir mounted
  mount "$(cat "$work/loops/mmcblk0p3")" mounted
  expect 0 decrypt.sh /dev/sda1
  umount mounted
  [[ $(cat "$root/tmp/fw/version.old.txt") == 1.4.2 ]]
}

# occupied_by STATUS COMMAND: COMMAND creates a folder or link at /tmp/fw while decrypt.sh runs, as another user could.
# decrypt.sh must exit with STATUS and not move its result into the folder or through the link.
occupied_by() {
  plug_drive
  on_line "Ready" "$2"
  expect "$1" decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw/fw && ! -e $root/elsewhere/fw ]]
}

small_chunks() {
  "$maker/tonecrate-pack-firmware" --chunk 1000 "$firmware" 2.0.0 "$work/keys" small.fw
  plug_firmware small.fw
  expect 0 decrypt.sh /dev/sda1
  diff -r "$firmware" "$root/tmp/fw/firmware"
  [[ $(grep -c Unpacking out) -gt 50 ]]
}

# The kernel escapes the blank in /proc/mounts, so decrypt.sh would not find the mount point there.
blank_in_mount_point() {
  change_setting memory_mount '"/run/the memory"'
  plug_drive
  expect 4 decrypt.sh /dev/sda1
}

old_version_is_empty_when() {
  case $1 in
    none) memory_command 'rm version.txt' ;;
    blank) truncate -s 0 memory.img && truncate -s 12M memory.img ;;
    gone) rm "$root"/dev/mmcblk0p[34] ;;
  esac
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  [[ -e $root/tmp/fw/version.old.txt && ! -s $root/tmp/fw/version.old.txt ]]
}

failure_leaves_no_older_firmware() {
  decrypt_firmware
  expect 1 decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw ]]
}

# pulled_at LINE: removes the drive after the progress line LINE.
pulled_at() {
  plug_drive
  on_line "$1" 'rm /dev/sda*'
  expect 1 decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw ]]
}

# ended_by SIGNAL: the script must exit with a failure, because the updater treats a fatal signal as status 0.
ended_by() {
  plug_drive
  signal_main
  on_line "Reading the old" "signal_main $1; kill -s $1 \$\$"
  run decrypt.sh /dev/sda1
  [[ $status -eq 4 ]] || { echo "exits $status"; return 1; }
  [[ ! -e $root/tmp/fw ]]
  tidy
}

mount_left_behind() {
  plug_drive
  mkdir -p "$root/run/tonecrate/drive" "$root/run/tonecrate/memory"
  mount -o ro "$(cat "$work/loops/sda1")" "$root/run/tonecrate/drive"
  mount "$(cat "$work/loops/mmcblk0p3")" "$root/run/tonecrate/memory"
  expect 0 decrypt.sh /dev/sda1
}

it "decrypt unpacks the firmware and writes both versions" partitioned_drive
it "decrypt reads a drive without a partition table" drive_without_partition
it "decrypt ignores the case of the file name" name_in_capitals
it "decrypt removes the mounts of a killed script" mount_left_behind
it "decrypt exits 1 without a drive and for wrong arguments" no_drive
it "decrypt exits 1 on a drive without a file system" unreadable_drive
it "decrypt exits 2 on a drive without tonecrate.fw" drive_without_firmware
it "decrypt exits 2 when other files have similar names" drive_with_similar_names
for file in etc/tonecrate/{updater.conf,signing.pub,firmware.key} usr/lib/tonecrate/{common,container,partitions}.sh \
  usr/bin/{openssl,zstd,flock}; do
  it "decrypt exits 4 without $file" without_file "$file" 4
done
it "decrypt exits 4 when a mount point contains a blank" blank_in_mount_point
it "decrypt shows how much memory the firmware needs when /tmp is too small" larger_than_memory
for line in "Checking the signature" "Unpacking... 15" "Reading the old"; do
  it "decrypt shows that /tmp is full when it becomes full at \"$line\"" full_memory "$line"
done
for mib in 11 12; do
  it "decrypt shows that /tmp is full when another program takes $mib MiB" \
    shortage "dd if=/dev/zero of=/tmp/filling bs=1M count=$mib 2>/dev/null"
done
it "decrypt shows that another script is running" shows_reason "another script is running" other_run
it "decrypt shows that its settings contain an error" \
  shows_reason "error in updater.conf" change_setting signing_key '"'
it "decrypt shows that a mount point is invalid" shows_reason "invalid mount point" change_setting drive_mount '"/a b"'
it "decrypt shows that the minimum version is invalid" \
  shows_reason "invalid minimum_version" change_setting minimum_version v2.0
it "decrypt reads a firmware file of many chunks" small_chunks
while read -r version minimum; do
  it "decrypt rejects version $version when the minimum is $minimum" older "$version" "$minimum"
done <<<'1.9 2
1.9 1.10
2.0.0-rc1 2.0.0
2.0.0-rc1 2.0.0-rc2
2.a 2.b
1.99999999999999999999 1.100000000000000000000'
while read -r version minimum; do
  it "decrypt accepts version $version when the minimum is $minimum" allowed "$version" "$minimum"
done <<<'2 2.0
2.0.0 2
2.0.0 2.0.0-rc1
1.10 1.9
02.1 2.1
2.0.0 1.9.9'
it "decrypt does not follow a link at /tmp/fw" occupied_by 4 'ln -s /elsewhere /tmp/fw'
it "decrypt does not move the firmware into a non-empty folder at /tmp/fw" occupied_by 4 'mkdir /tmp/fw && : >/tmp/fw/injected'
it "decrypt replaces an empty folder at /tmp/fw" occupied_by 0 'mkdir /tmp/fw'
it "the old version is read from a memory that is mounted for writing" mounted_memory rw
it "the old version is read from a memory that is mounted read-only" mounted_memory ro
it "the old version is read from a memory that is mounted outside the chroot" mounted_outside_the_root
it "the old version is empty when the memory has no version" old_version_is_empty_when none
it "the old version is empty when the memory is blank" old_version_is_empty_when blank
it "the old version is empty without partitions" old_version_is_empty_when gone
it "a failed decrypt removes the result of an earlier decrypt" failure_leaves_no_older_firmware
for line in "Reading the drive" "Checking the sig" "Unpacking... 15" "Unpacking... 7" "Reading the old" Ready; do
  it "decrypt exits 1 when the drive is removed at \"$line\"" pulled_at "$line"
done
for signal in HUP INT PIPE TERM; do
  it "decrypt terminated by SIG$signal reports a failure and cleans up" ended_by "$signal"
done
finish
