#!/bin/bash
# Tests what decrypt.sh makes of drives, of firmware files, of the state of the device, and of being interrupted.
set -uo pipefail
# shellcheck source=kit.sh
. "$(dirname "${BASH_SOURCE[0]}")/kit.sh"

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
  truncate -s 20M blank.img
  plug_drive blank.img
  expect 1 decrypt.sh /dev/sda
  head -c 5M /dev/urandom >garbage.img
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

flipped_byte() {
  cp "$work/tonecrate.fw" bad.fw
  flip bad.fw "$1"
  plug_firmware bad.fw
  expect 3 decrypt.sh /dev/sda1
}

truncated_firmware() {
  head -c "$1" "$work/tonecrate.fw" >bad.fw
  plug_firmware bad.fw
  expect 3 decrypt.sh /dev/sda1
}

foreign_firmware() {
  "$tools/make_keys.sh" foreign
  cp "$work/keys/firmware.key" foreign/
  "$tools/pack_firmware.sh" "$firmware" 2.0.0 foreign foreign.fw
  plug_firmware foreign.fw
  expect 3 decrypt.sh /dev/sda1
}

# without_file FILE_OF_THE_ROOT
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

# archive_parts: ./version.txt and ./firmware/a.txt, which every archive of the cases below holds.
archive_parts() {
  echo 9.9 >version.txt
  mkdir firmware
  echo a >firmware/a.txt
}

# refuses_archive: a rightly sealed ./archive must be refused and leave nothing anywhere.
refuses_archive() {
  seal archive bad.fw
  plug_firmware bad.fw
  expect 3 decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw ]]
  [[ -z $(find "$root" -xdev -name 'evil*'; find "$root/tmp" "$root/run" -name 'evil*') ]]
}

sealed_by_hand() {
  archive_parts
  tar -cf archive version.txt firmware
  seal archive good.fw
  plug_firmware good.fw
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$root/tmp/fw/firmware/a.txt") == a ]]
}

hostile_path() {
  archive_parts
  echo x >evil
  tar -P --transform="s,^evil,$1," -cf archive version.txt firmware evil
  tar -tPf archive 2>/dev/null | grep -q evil
  refuses_archive
}

hostile_symbolic_link() {
  archive_parts
  mkdir -p other/link
  echo x >other/link/evil
  ln -s ../../.. firmware/link
  tar -cf archive version.txt firmware
  tar -rf archive --transform='s,^other,firmware,' other/link/evil
  refuses_archive
}

hostile_hard_link() {
  archive_parts
  ln firmware/a.txt firmware/b.txt
  tar -cf archive version.txt firmware
  refuses_archive
}

hostile_pipe() {
  archive_parts
  mkfifo firmware/pipe
  tar -cf archive version.txt firmware
  refuses_archive
}

archive_of_only() {
  archive_parts
  tar -cf archive "$1"
  refuses_archive
}

archive_with_version() {
  archive_parts
  printf '%s' "$1" >version.txt
  tar -cf archive version.txt firmware
  refuses_archive
}

not_an_archive() {
  head -c 3000 /dev/urandom >archive
  refuses_archive
}

old_version_is_empty_when() {
  case $1 in
    none) memory_command 'rm version.txt' ;;
    blank) truncate -s 0 memory.img && truncate -s 24M memory.img ;;
    gone) rm "$root"/dev/mmcblk0p[34] ;;
  esac
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  [[ -e $root/tmp/fw/version.old.txt && ! -s $root/tmp/fw/version.old.txt ]]
}

failure_leaves_no_older_firmware() {
  prepare
  expect 1 decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw ]]
}

# pulled_at LINE: the drive is pulled while that progress line is on the display.
pulled_at() {
  plug_drive
  on_line "$1" 'rm /dev/sda*'
  expect 1 decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw ]]
}

# ended_by SIGNAL: the caller looks at the exit code alone, and takes a death by signal for success.
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

it "decrypt unpacks the firmware and tells both versions" partitioned_drive
it "decrypt reads a drive without partition table" drive_without_partition
it "decrypt finds the file whatever its case" name_in_capitals
it "decrypt unmounts what a killed run has left behind" mount_left_behind
it "decrypt accepts an archive sealed by hand" sealed_by_hand
it "decrypt exits 1 without a drive" no_drive
it "decrypt exits 1 on a drive without a file system" unreadable_drive
it "decrypt exits 1 without its settings" without_file etc/tonecrate/updater.conf 1
it "decrypt exits 1 without its common part" without_file usr/lib/tonecrate/common.sh 1
it "decrypt exits 2 on a drive without tonecrate.fw" drive_without_firmware
it "decrypt exits 2 when other files have similar names" drive_with_similar_names
size=$(stat -c %s "$work/tonecrate.fw")
for offset in 0 15 16 $((size / 2)) -64 -1; do
  it "decrypt exits 3 when byte $offset is flipped" flipped_byte "$offset"
done
for length in 0 1 16 80 $((size - 64)) $((size - 1)); do
  it "decrypt exits 3 when only the first $length bytes are there" truncated_firmware "$length"
done
it "decrypt exits 3 on firmware signed by someone else" foreign_firmware
it "decrypt exits 3 without the public key" without_file etc/tonecrate/signing.pub 3
it "decrypt exits 3 without the decryption key" without_file etc/tonecrate/firmware.key 3
it "decrypt exits 3 without openssl" without_file usr/bin/openssl 3
it "decrypt exits 3 when the firmware is larger than what is left in /tmp" larger_than_memory
it "decrypt refuses an absolute path" hostile_path "/tmp/evil"
it "decrypt refuses an absolute path into the firmware" hostile_path "/firmware/evil"
it "decrypt refuses a path out of the firmware folder" hostile_path "firmware/../../../evil"
it "decrypt refuses a file beside the firmware folder" hostile_path "evil.txt"
it "decrypt refuses a name with a quote" hostile_path 'firmware/evil".txt'
it "decrypt refuses a name with a line end" hostile_path 'firmware/evil\ntwo'
it "decrypt refuses a symbolic link and what goes through it" hostile_symbolic_link
it "decrypt refuses a hard link" hostile_hard_link
it "decrypt refuses a named pipe" hostile_pipe
it "decrypt refuses an archive without version" archive_of_only firmware
it "decrypt refuses an archive without files" archive_of_only version.txt
it "decrypt refuses an empty version" archive_with_version ""
it "decrypt refuses a version too long for the display" archive_with_version "$(printf '1%.0s' {1..33})"
it "decrypt refuses a version with a control character" archive_with_version $'1.\0332'
it "decrypt refuses what is no archive" not_an_archive
it "the old version is empty when the memory has none" old_version_is_empty_when none
it "the old version is empty when the memory is blank" old_version_is_empty_when blank
it "the old version is empty when there are no partitions" old_version_is_empty_when gone
it "a failed decrypt leaves nothing of an earlier one" failure_leaves_no_older_firmware
for line in "Reading the drive... 10" "Reading the drive... 30" Checking Decrypting Unpacking Ready; do
  it "decrypt exits 1 when the drive is pulled at \"$line\"" pulled_at "$line"
done
for signal in HUP INT PIPE TERM; do
  it "decrypt, ended by SIG$signal, has failed and cleans up" ended_by "$signal"
done
finish
