#!/bin/bash
# Tests the storage functions of images.sh: runs the device scripts on image files, which needs no root. The tests in
# tests/packaging/scripts, on loop devices, test the scripts themselves.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

factory_reset() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 1
  expect 0 install.sh
  verify lost
}

second_update() {
  update_device
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$DEVICE_ROOT/tmp/fw/version.old.txt") == 2.0.0 ]]
  expect 0 format.sh 0
  expect 0 install.sh
  verify kept
}

interrupted_update() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 0
  rm -r "$DEVICE_ROOT/tmp/fw"
  update_device
}

whole_drive() {
  plug_whole "$work/whole.img"
  expect 0 decrypt.sh /dev/sda
  diff -r "$firmware" "$DEVICE_ROOT/tmp/fw/firmware"
}

relative_root() {
  DEVICE_ROOT="the device"
  update_device
}

odd_root() {
  mv "$DEVICE_ROOT" "$PWD/a \"b\" 'c'?d=1@@2 \$HOME"
  DEVICE_ROOT="$PWD/a \"b\" 'c'?d=1@@2 \$HOME"
  update_device
}

# drive_is COMMAND...: decrypt.sh exits with status 1 after COMMAND has created or removed the drive.
drive_is() {
  "$@" "$DEVICE_ROOT/dev/sda"
  expect 1 decrypt.sh /dev/sda
}

empty_drive() {
  "$scripts/make_drive.sh" --no-partition empty.img
  plug_whole empty.img
  expect 2 decrypt.sh /dev/sda
}

similar_names() {
  echo 1 >"my tonecrate.fw"
  echo 2 >tonecrate.fw.old
  "$scripts/make_drive.sh" --no-partition names.img "my tonecrate.fw" tonecrate.fw.old
  plug_whole names.img
  expect 2 decrypt.sh /dev/sda
}

name_in_capitals() {
  cp "$work/tonecrate.fw" TONECRATE.FW
  "$scripts/make_drive.sh" --no-partition capitals.img TONECRATE.FW
  plug_whole capitals.img
  expect 0 decrypt.sh /dev/sda
}

corrupt_firmware() {
  cp "$work/tonecrate.fw" bad.fw
  flip bad.fw -1
  plug_firmware bad.fw
  expect 3 decrypt.sh /dev/sda
}

# fails_untouched STATUS SCRIPT [ARGUMENT...]: the script exits with STATUS and does not change the internal memory.
fails_untouched() {
  local before
  before=$(memory_hash)
  expect "$@"
  [[ $(memory_hash) == "$before" ]]
}

too_small() {
  "$scripts/make_device.sh" small "$work/keys" 400
  DEVICE_ROOT=small
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  fails_untouched 1 format.sh 0
  fails_untouched 1 format.sh 1
}

worn() {
  "$scripts/make_device.sh" worn "$work/keys" 32768 100
  DEVICE_ROOT=worn
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 0
  expect 1 install.sh
  "$scripts/verify_memory.sh" worn "$firmware" none kept
}

without_memory() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  rm "$DEVICE_ROOT/dev/memory"
  expect 1 format.sh 0
  expect 1 format.sh 1
}

blank_memory() {
  truncate -s 0 "$DEVICE_ROOT/dev/memory"
  truncate -s 12M "$DEVICE_ROOT/dev/memory"
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  [[ ! -s $DEVICE_ROOT/tmp/fw/version.old.txt ]]
  expect 1 format.sh 0
  expect 0 format.sh 1
  expect 0 install.sh
  verify lost
}

steps() {
  plug_partitioned "$work/drive.img"
  mkfifo "$DEVICE_ROOT/script-steps"
  "$DEVICE_ROOT/usr/sbin/decrypt.sh" /dev/sda1 >"$work/lines" &
  while [[ ! -s $work/lines ]]; do sleep 0.01; done
  sleep 0.2
  [[ $(wc -l <"$work/lines") -eq 1 ]] || { cat "$work/lines"; return 1; }
  while [[ -d /proc/$! ]]; do timeout 0.1 tee "$DEVICE_ROOT/script-steps" <<<"" >/dev/null || true; done
  wait $! && grep -q 'Ready 100%' "$work/lines"
}

make_fixtures
"$scripts/make_drive.sh" --no-partition "$work/whole.img" "$work/tonecrate.fw" || exit 1
it "an update installs the firmware and keeps the presets" update_device
it "a factory reset installs the firmware and its factory presets" factory_reset
it "a second update finds the version that the first update installed" second_update
it "an update after an interrupted update keeps the presets" interrupted_update
it "decrypt reads a drive without a partition table" whole_drive
it "decrypt ignores the case of the file name" name_in_capitals
it "the path of the device's folder may be relative" relative_root
it "the path of the device's folder may contain spaces and special characters" odd_root
it "decrypt exits 1 when the drive is missing" drive_is rm -f
it "decrypt exits 1 when the drive is an empty file" drive_is truncate -s 0
it "decrypt exits 1 when the drive is a folder" drive_is mkdir
it "decrypt exits 1 on a drive without a file system" drive_is cp "$work/keys/signing.pub"
it "decrypt exits 2 on a drive without files" empty_drive
it "decrypt exits 2 when other files have similar names" similar_names
it "decrypt exits 3 when the firmware is corrupt" corrupt_firmware
it "format fails and changes nothing when the memory is too small for the firmware" too_small
it "install fails on a worn memory and keeps the presets" worn
it "format fails when the memory is missing" without_memory
it "a blank memory has no version, and a factory reset makes it usable" blank_memory
it "with a FIFO named script-steps, decrypt waits after each progress line" steps
finish
