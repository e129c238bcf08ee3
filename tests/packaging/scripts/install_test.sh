#!/bin/bash
# Tests that install.sh writes every file, and detects files that were not written correctly.
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
  head -c 10350K /dev/urandom >filling/filling
  memory_command "write filling/filling filling"
  expect 1 install.sh
  [[ -z $(memory_command 'cat version.txt') ]]
}

# unfaithful_copy DAMAGE: cp damages its copy and reports success.
unfaithful_copy() {
  prepare
  expect 0 format.sh 0
  on_line "Checking the memory" "cp() { command cp \"\$@\" && for copy; do :; done && $1; }"
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
it "install fails without unpacked firmware, or with an argument" without_firmware
it "install fails without a memory" without_memory
it "install fails when the memory is mounted" mounted_elsewhere
finish
