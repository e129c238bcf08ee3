#!/bin/bash
# Tests install.sh, and whole updates and factory resets.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

whole_update() {
  update
  verify "$user_presets"
}

factory_reset() {
  decrypt_firmware
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

second_update() {
  update
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$root/tmp/fw/version.old.txt") == 2.0.0 ]]
  expect 0 format.sh 0
  expect 0 install.sh
  verify "$user_presets"
}

# Presets added after an update survive the next update.
later_presets() {
  update
  echo new >new.preset
  memory_command "write new.preset presets/new.preset"
  prepare
  expect 0 format.sh 0
  expect 0 install.sh
  cp -R "$user_presets" wanted_presets
  cp new.preset wanted_presets/
  verify wanted_presets
}

# pack_and_install FOLDER: performs a factory reset with the firmware in FOLDER.
pack_and_install() {
  "$maker/tonecrate-pack-firmware" "$1" 2.0.0 "$work/keys" other.fw
  plug_firmware other.fw
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 1
  expect 0 install.sh
}

odd_names() {
  mkdir -p "my firmware/one two/empty folder" "my firmware/presets-factory"
  echo 1 >"my firmware/one two/ three  four .txt"
  : >"my firmware/one two/-empty"
  echo 2 >"my firmware/presets-factory/my preset"
  pack_and_install "my firmware"
  verify "my firmware/presets-factory" "my firmware"
}

without_factory_presets() {
  mkdir plain none
  echo 1 >plain/one
  pack_and_install plain
  verify none plain
}

does_not_fit() {
  prepare
  expect 0 format.sh "$1"
  mkdir filling
  head -c 10000K /dev/urandom >filling/filling
  memory_command "write filling/filling filling"
  expect 1 install.sh
  [[ -z $(memory_command 'cat version.txt') ]]
}

# unfaithful_copy DAMAGE: cp runs DAMAGE, which changes $copy, and reports success. install.sh must fail.
unfaithful_copy() {
  prepare
  expect 0 format.sh 0
  on_line "Checking the memory" "cp() {
    command cp \"\$@\" && for copy; do :; done
    [ ! -d \"\$copy\" ] || copy=\$copy/\${2##*/} # with few files, install.sh runs 'cp -p FILE FOLDER' for each
    $1
  }"
  run install.sh
  [[ $status -eq 1 ]] || { echo "exits $status"; return 1; }
  [[ -z $(memory_command 'cat version.txt') ]]
}

without_firmware() {
  local before
  before=$(hash_of memory.img)
  expect 1 install.sh
  expect 2 install.sh 0
  [[ $(hash_of memory.img) == "$before" ]]
}

# unpacked_is COMMAND...: COMMAND changes the unpacked firmware in /tmp/fw after formatting. install.sh must then fail.
unpacked_is() {
  prepare
  expect 0 format.sh 0
  (cd "$root/tmp/fw" && "$@")
  expect 1 install.sh
  [[ -z $(memory_command 'cat version.txt') ]]
}

# The firmware in /tmp/fw does not come from decrypt.sh, so no signature was checked.
unsigned_firmware() {
  mkdir -p "$root/tmp/fw/firmware"
  echo 6.6.6 >"$root/tmp/fw/version.txt"
  echo evil >"$root/tmp/fw/firmware/engine"
  expect 1 format.sh 0
  expect 1 install.sh
  [[ $(memory_command 'cat version.txt') == 1.4.2 ]]
}

removes_unpacked() {
  update
  [[ ! -e $root/tmp/fw ]]
  prepare
  expect 0 format.sh 0
  unplug mmcblk0p3
  expect 1 install.sh
  [[ ! -e $root/tmp/fw ]]
}

# A preset in the memory is deleted after format.sh has checked it.
damaged_presets() {
  prepare
  expect 0 format.sh 0
  memory_command 'rm presets/night-bus.preset'
  expect 1 install.sh
  [[ -z $(memory_command 'cat version.txt') ]]
  update
  verify "$user_presets"
}

# The owner swaps the drive for another one between decryption and installation.
swapped_drive() {
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  unplug_drive
  mkdir other
  echo other >other/engine
  "$maker/tonecrate-pack-firmware" other 6.6.6 "$work/keys" other.fw
  plug_firmware other.fw
  expect 0 format.sh 0
  expect 0 install.sh
  verify "$user_presets"
}

# read_only_at LINE SCRIPT [ARGUMENT]: the memory becomes read-only after the progress line LINE of the script.
read_only_at() {
  prepare
  [[ $2 == format.sh ]] || expect 0 format.sh 0
  # shellcheck disable=SC2016 # for the script to expand
  on_line "$1" '
    ! is_mounted "$memory_mount" || mount -o remount,ro "$memory_mount"
    blockdev --setro "$memory_device"'
  expect 1 "${@:2}"
  reset_settings
  blockdev --setrw "$(cat "$work/loops/mmcblk0p3")"
  update
  verify "$user_presets"
}

without_memory() {
  prepare
  rm "$root/dev/mmcblk0p3"
  expect 1 install.sh
}

mounted_elsewhere() {
  prepare
  mount "$(cat "$work/loops/mmcblk0p3")" "$root/elsewhere"
  expect 1 install.sh
  umount "$root/elsewhere"
}

# expect_progress SCRIPT [ARGUMENT...]: checks that the script succeeds and that its percentages rise to 100.
expect_progress() {
  expect 0 "$@"
  grep -o '[0-9]*%' out | tr -d % | sort -nc
  [[ $(tail -n 1 out) == "SHOW: "*" 100%" ]]
}

update_shows_progress() {
  plug_drive
  expect_progress decrypt.sh /dev/sda1
  expect_progress format.sh 0
  expect_progress install.sh
  [[ $(grep -c Installing out) -eq $(find "$firmware" -type f | wc -l) ]]
}

it "an update installs the firmware and keeps the presets" whole_update
it "a factory reset installs the firmware and its factory presets" factory_reset
it "a second update finds the version that the first update installed" second_update
it "presets added after an update survive the next update" later_presets
it "the progress of every script rises to 100 %" update_shows_progress
it "install accepts names with spaces, empty files and empty folders" odd_names
it "a factory reset to a firmware without factory presets leaves no presets" without_factory_presets
it "install for an update fails when the files do not fit" does_not_fit 0
it "install for a reset fails when the files do not fit" does_not_fit 1
# shellcheck disable=SC2016 # for the script to expand
{
  it "install detects a truncated file" unfaithful_copy 'case $copy in *snare.wav) truncate -s 10 "$copy" ;; esac'
  it "install detects a missing file" unfaithful_copy 'case $copy in *hat.wav) rm "$copy" ;; esac'
  it "install detects a wrong version" unfaithful_copy 'case $copy in *version*) echo 1 >"$copy" ;; esac'
}
it "install requires that format.sh has finished" unpacked_is rm formatted
it "install rejects an unpacked firmware without its listing" unpacked_is rm contents
it "install rejects an unpacked firmware that was changed" unpacked_is flip firmware/engine/engine.bin 100
it "install rejects an unpacked firmware that belongs to another user" unpacked_is chown 1 .
it "format and install reject an unsigned firmware in /tmp/fw" unsigned_firmware
it "install removes the unpacked firmware, even if it fails" removes_unpacked
it "install fails if a preset was deleted from the memory, and the next update restores the preset" damaged_presets
it "swapping the drive after decryption has no effect" swapped_drive
for line in "Formatting" "Restoring"; do
  it "the presets survive when the memory becomes read-only at \"$line\" and the update is repeated" \
    read_only_at "$line" format.sh 0
done
for line in "Checking the memory" "Installing... 40" "Checking the files" "Writing the version"; do
  it "the presets survive when the memory becomes read-only at \"$line\" and the update is repeated" \
    read_only_at "$line" install.sh
done
it "install fails without unpacked firmware, or with an argument" without_firmware
it "install fails when the memory is missing" without_memory
it "install fails when the memory is mounted" mounted_elsewhere
finish
