#!/bin/bash
# Tests decrypt.sh: drives, the state of the device, interruptions.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

drive_without_partition() {
  "$scripts/make_drive.sh" --no-partition whole.img "$work/tonecrate.fw"
  plug_whole whole.img
  expect 0 decrypt.sh /dev/sda
  diff -r "$firmware" "$DEVICE_ROOT/tmp/fw/firmware"
}

name_in_capitals() {
  cp "$work/tonecrate.fw" TONECRATE.FW
  "$scripts/make_drive.sh" --no-partition whole.img TONECRATE.FW
  plug_whole whole.img
  expect 0 decrypt.sh /dev/sda
}

absent_drive() {
  expect 1 decrypt.sh /dev/sda
  expect 1 decrypt.sh /dev/sda1
}

garbage_drive() {
  head -c 1M /dev/urandom >"$DEVICE_ROOT/dev/sda"
  expect 1 decrypt.sh /dev/sda
  truncate -s 32M "$DEVICE_ROOT/dev/sda1"
  expect 1 decrypt.sh /dev/sda1
}

empty_or_folder_drive() {
  : >"$DEVICE_ROOT/dev/sda"
  expect 1 decrypt.sh /dev/sda
  mkdir "$DEVICE_ROOT/dev/sda1"
  expect 1 decrypt.sh /dev/sda1
}

drive_that_ends_early() {
  head -c 3M /dev/urandom >tonecrate.fw
  "$scripts/make_drive.sh" --no-partition drive.img tonecrate.fw
  truncate -s 1M drive.img
  plug_whole drive.img
  expect 1 decrypt.sh /dev/sda
}

drive_without_firmware() {
  echo hello >notes.txt
  "$scripts/make_drive.sh" drive.img notes.txt
  plug_partitioned drive.img
  expect 2 decrypt.sh /dev/sda1
  "$scripts/make_drive.sh" empty.img
  plug_partitioned empty.img
  expect 2 decrypt.sh /dev/sda1
}

drive_with_similar_names() {
  cp "$work/tonecrate.fw" "my tonecrate.fw"
  cp "$work/tonecrate.fw" tonecrate.fw.old
  "$scripts/make_drive.sh" --no-partition drive.img "my tonecrate.fw" tonecrate.fw.old
  mmd -i drive.img ::tonecrate.fw
  plug_whole drive.img
  expect 2 decrypt.sh /dev/sda
}

stale_content_is_gone() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  touch "$DEVICE_ROOT/tmp/fw/stale" "$DEVICE_ROOT/tmp/fw/firmware/stale"
  expect 0 decrypt.sh /dev/sda1
  [[ -z $(find "$DEVICE_ROOT/tmp" -name stale) ]]
  diff -r "$firmware" "$DEVICE_ROOT/tmp/fw/firmware"
}

failure_leaves_no_older_firmware() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  pull
  expect 1 decrypt.sh /dev/sda1
  [[ ! -e $DEVICE_ROOT/tmp/fw ]]
}

# pulled_at LINE: removes the drive after progress line number LINE.
pulled_at() {
  local count=0 results
  plug_partitioned "$work/drive.img"
  set +e
  STEP_SECONDS=0.1 "$DEVICE_ROOT/usr/sbin/decrypt.sh" /dev/sda1 2>err | while read -r _; do
    count=$((count + 1))
    [[ $count -ne $1 ]] || pull
  done
  results=("${PIPESTATUS[@]}")
  set -e
  [[ ${results[0]} -eq 1 && ! -e $DEVICE_ROOT/dev/sda1 ]] || { echo "exits ${results[0]}"; return 1; }
  [[ $(wc -l <err) -eq 1 ]]
  [[ ! -e $DEVICE_ROOT/tmp/fw ]]
  no_leftovers
}

old_version_is_empty_when() {
  plug_partitioned "$work/drive.img"
  case $1 in
    none) memory_command 'rm /version.txt' ;;
    gone) rm "$DEVICE_ROOT/dev/memory" ;;
    blank) truncate -s 0 "$DEVICE_ROOT/dev/memory" && truncate -s 32M "$DEVICE_ROOT/dev/memory" ;;
  esac
  expect 0 decrypt.sh /dev/sda1
  [[ ! -s $DEVICE_ROOT/tmp/fw/version.old.txt ]]
  [[ $(cat "$DEVICE_ROOT/tmp/fw/version.txt") == 2.0.0 ]]
}

missing_keys() {
  plug_partitioned "$work/drive.img"
  rm "$DEVICE_ROOT/etc/tonecrate/$1"
  expect 4 decrypt.sh /dev/sda1
}

decrypt_arguments() {
  expect 4 decrypt.sh
  expect 4 decrypt.sh /dev/sdb
  expect 4 decrypt.sh /dev/sda /dev/sda1
  expect 4 decrypt.sh ""
}

# The updater reads only bits 8 to 15 of the wait status, which are 0 after a fatal signal.
terminated_script() {
  plug_partitioned "$work/drive.img"
  local status=0
  # shellcheck disable=SC2016 # Perl variables
  STEP_SECONDS=0.1 perl -e 'my $p = fork // die; exec @ARGV if !$p; select undef, undef, undef, 0.15;
    kill "TERM", $p; waitpid $p, 0; exit $? >> 8' "$DEVICE_ROOT/usr/sbin/decrypt.sh" /dev/sda1 >out 2>&1 || status=$?
  [[ $status -eq 143 ]] || { echo "exit code $status"; return 1; }
  no_leftovers
}

make_fixtures
it "decrypt reads a drive without a partition table" drive_without_partition
it "decrypt ignores the case of the file name" name_in_capitals
it "decrypt exits 1 without a drive" absent_drive
it "decrypt exits 1 on a drive without a file system" garbage_drive
it "decrypt exits 1 on an empty drive or a folder" empty_or_folder_drive
it "decrypt exits 1 on a drive that ends before the end of the file" drive_that_ends_early
for line in 1 2 3 4 5 6; do
  it "decrypt exits 1 when the drive is removed at progress line $line" pulled_at "$line"
done
it "decrypt exits 2 on a drive without tonecrate.fw" drive_without_firmware
it "decrypt exits 2 when other files or a folder have similar names" drive_with_similar_names
it "decrypt exits 4 for wrong arguments" decrypt_arguments
it "decrypt exits 4 without the public key" missing_keys signing.pub
it "decrypt exits 4 without the decryption key" missing_keys firmware.key
it "decrypt reports a missing device root" needs_device_root decrypt.sh /dev/sda
it "decrypt terminated by a signal reports a failure and cleans up" terminated_script
it "decrypt removes the result of an earlier decrypt" stale_content_is_gone
it "a failed decrypt removes the result of an earlier decrypt" failure_leaves_no_older_firmware
it "the old version is empty when the memory has no version" old_version_is_empty_when none
it "the old version is empty when the memory is blank" old_version_is_empty_when blank
it "the old version is empty without a memory" old_version_is_empty_when gone
finish
