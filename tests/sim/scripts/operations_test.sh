#!/bin/bash
# Tests whole updates and factory resets, from the plugged drive to the content of the internal memory.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

reset_loses_presets() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 1
  expect 0 install.sh
  verify lost
}

second_update_finds_first() {
  update_device
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$DEVICE_ROOT/tmp/fw/version.old.txt") == 2.0.0 ]]
  expect 0 format.sh 0
  expect 0 install.sh
  verify kept
}

update_of_a_reset_device_keeps_its_presets() {
  reset_loses_presets
  expect 0 format.sh 0
  expect 0 install.sh
  verify lost
}

user_without_presets_gets_none() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 1
  expect 0 format.sh 0
  expect 0 install.sh
  memory_command 'ls -p /presets' >list
  [[ $(grep -c . list) -eq 2 ]]
}

relative_root_works() {
  plug_partitioned "$work/drive.img"
  DEVICE_ROOT="the device"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 0
  expect 0 install.sh
  verify kept
}

odd_root_works() {
  mv "$DEVICE_ROOT" "$PWD/a \"b\" 'c'?d=1@@2 \$HOME"
  DEVICE_ROOT="$PWD/a \"b\" 'c'?d=1@@2 \$HOME"
  update_device
}

# expect_progress SCRIPT [ARGUMENT...]: checks that the script succeeds, and that its progress lines fit the display and
# rise to 100 %.
expect_progress() {
  local line
  expect 0 "$@"
  while IFS= read -r line; do
    [[ $line =~ ^"SHOW: "[[:print:]]{1,36}[0-9]%$ ]] || { echo "bad line: $line"; return 1; }
  done <out
  grep -o '[0-9]*%' out | tr -d % | sort -nc
  [[ $(tail -n 1 out) == *" 100%" ]]
}

update_shows_progress() {
  plug_partitioned "$work/drive.img"
  expect_progress decrypt.sh /dev/sda1
  expect_progress format.sh 0
  expect_progress install.sh
  [[ $(grep -c Installing out) -eq $(find "$firmware" -type f | wc -l) ]]
}

reset_shows_progress() {
  plug_partitioned "$work/drive.img"
  expect_progress decrypt.sh /dev/sda1
  expect_progress format.sh 1
  expect_progress install.sh
}

step_seconds_holds_each_line() {
  local start=${EPOCHREALTIME/./}
  STEP_SECONDS=0.2 expect 0 format.sh 1
  ((${EPOCHREALTIME/./} - start >= 400000))
}

make_fixtures
it "an update installs the firmware and keeps the presets" update_device
it "a factory reset installs the firmware and its factory presets" reset_loses_presets
it "a second update finds the version that the first update installed" second_update_finds_first
it "an update after a factory reset keeps the factory presets" update_of_a_reset_device_keeps_its_presets
it "an update of a device without presets adds none" user_without_presets_gets_none
it "DEVICE_ROOT may be relative" relative_root_works
it "DEVICE_ROOT may contain quotes, spaces and shell characters" odd_root_works
it "the progress lines of an update fit the display and rise to 100 %" update_shows_progress
it "the progress lines of a factory reset fit the display and rise to 100 %" reset_shows_progress
it "STEP_SECONDS delays the script after each progress line" step_seconds_holds_each_line
finish
