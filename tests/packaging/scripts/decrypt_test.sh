#!/bin/bash
# Tests decrypt.sh: drives, firmware files, the state of the device, interruptions.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"
# shellcheck source=../../support/container_cases.sh
. "$repository/tests/support/container_cases.sh"
readonly device_root=$root drive=/dev/sda1

partitioned_drive() {
  local before
  before=$(hash_of memory.img)
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  diff -r "$firmware" "$root/tmp/fw/firmware"
  [[ $(cat "$root/tmp/fw/version.txt") == 2.0.0 && $(cat "$root/tmp/fw/version.old.txt") == 1.4.2 ]]
  [[ $(ls "$root/tmp/fw") == $'firmware\nversion.old.txt\nversion.txt' ]]
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

# without_file FILE STATUS: checks the exit status without FILE, a path below the root.
without_file() {
  plug_drive
  mv "$root/$1" aside
  run decrypt.sh /dev/sda1
  mv aside "$root/$1"
  [[ $status -eq $2 ]] || { echo "exits $status"; return 1; }
  tidy
}

larger_than_memory() {
  plug_drive
  mount -o remount,size=100k "$root/tmp"
  expect 3 decrypt.sh /dev/sda1
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
  on_line "Decrypting" "kill -s $1 \$\$"
  run decrypt.sh /dev/sda1
  [[ $status -ge 1 && $status -le 3 ]] || { echo "exits $status"; return 1; }
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
it "decrypt unmounts the mounts of a killed run" mount_left_behind
it "decrypt exits 1 without a drive" no_drive
it "decrypt exits 1 on a drive without a file system" unreadable_drive
it "decrypt exits 1 without its settings" without_file etc/tonecrate/updater.conf 1
it "decrypt exits 1 without common.sh" without_file usr/lib/tonecrate/common.sh 1
it "decrypt exits 2 on a drive without tonecrate.fw" drive_without_firmware
it "decrypt exits 2 when other files have similar names" drive_with_similar_names
it "decrypt exits 3 without the public key" without_file etc/tonecrate/signing.pub 3
it "decrypt exits 3 without the decryption key" without_file etc/tonecrate/firmware.key 3
it "decrypt exits 3 without openssl" without_file usr/bin/openssl 3
it "decrypt exits 3 when the firmware does not fit into /tmp" larger_than_memory
container_cases
it "the old version is empty when the memory has no version" old_version_is_empty_when none
it "the old version is empty when the memory is blank" old_version_is_empty_when blank
it "the old version is empty without partitions" old_version_is_empty_when gone
it "a failed decrypt removes the result of an earlier decrypt" failure_leaves_no_older_firmware
for line in "Reading the drive... 10" "Reading the drive... 30" Checking Decrypting Unpacking Ready; do
  it "decrypt exits 1 when the drive is removed at \"$line\"" pulled_at "$line"
done
for signal in HUP INT PIPE TERM; do
  it "decrypt terminated by SIG$signal reports a failure and cleans up" ended_by "$signal"
done
finish
