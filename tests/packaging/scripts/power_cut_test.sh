#!/bin/bash
# Tests that an update after a power cut in format.sh or install.sh succeeds and keeps the presets. A power cut kills
# all processes of the script at once and discards the data that the file systems have not written.
# Usage: power_cut_test.sh busybox|dash [sample]   (sample: tests only a few cuts)
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

# run_until_cut ARGUMENT: runs format.sh and install.sh for an update (0) or a factory reset (1). Sets $cut to yes if a
# script was killed, otherwise to no.
run_until_cut() {
  local script status
  cut=no
  for script in "format.sh $1" install.sh; do
    status=0
    # shellcheck disable=SC2086 # a script and its argument
    setsid --wait env -i --default-signal /usr/sbin/chroot "$root" /usr/sbin/$script >out 2>err </dev/null || status=$?
    [[ $status -ne 137 ]] || cut=yes
    [[ $status -eq 0 ]] || break
  done
  [[ $status -eq 0 || $status -eq 137 ]] || { echo "$script exits $status: $(cat err)"; return 1; }
}

# update_again: runs an update. Sets $old_version to the installed version that decrypt.sh finds.
update_again() {
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  old_version=$(cat "$root/tmp/fw/version.old.txt")
  expect 0 format.sh 0
  expect 0 install.sh
  verify "$user_presets"
}

# cut_at_every_command: cuts the power before every command that may write, each time on a new device.
cut_at_every_command() {
  local number=0
  while true; do
    renew "$work"
    prepare
    before_command "$number" "kill -s KILL 0" mount umount e2fsck cp mv rm mkdir sync
    run_until_cut 0
    [[ $cut == yes ]] || break
    cut_power
    update_again || { echo "update failed after a cut before command $number"; return 1; }
    [[ $old_version == 1.4.2 || $old_version == 2.0.0 ]] ||
      { echo "version lost after a cut before command $number"; return 1; }
    number=$((number + 1))
  done
  [[ $number -gt 40 ]] || { echo "only $number commands"; return 1; }
}

# cut_at LINE ARGUMENT: cuts the power after the progress line LINE of an update (0) or a factory reset (1).
cut_at() {
  prepare
  on_line "$1" 'kill -s KILL 0'
  run_until_cut "$2"
  [[ $cut == yes && $(tail -n 1 out) == "SHOW: $1"* ]] || { echo "the script does not print that line"; return 1; }
  cut_power
}

cut_update() {
  cut_at "$1" 0
  update_again
  [[ $old_version == 1.4.2 || $old_version == 2.0.0 ]]
}

cut_twice() {
  cut_at "$1" 0
  cut_at "$2" 0
  update_again
  [[ $old_version == 1.4.2 ]]
}

cut_reset() {
  cut_at "$1" 1
  prepare
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

# The interrupted factory reset has already deleted the presets that the interrupted update had saved.
reset_discards_backup() {
  cut_at "Restoring" 0
  cut_at "Formatted" 1
  decrypt_firmware
  [[ ! -s $root/tmp/fw/version.old.txt ]]
  expect 1 format.sh 0
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

# Simulates the state of the memory after a power cut in mke2fs.
incomplete_memory() {
  cut_at "Formatting" 0
  memory_command 'rm version.txt'
  dd if=/dev/urandom of=memory.img bs=1M count=1 conv=notrunc status=none
  update_again
  [[ $old_version == 1.4.2 ]]
}

# The memory and the backup are complete, and the memory is newer.
stale_backup() {
  cut_at "Formatting" 0
  echo new >new.preset
  memory_command "write new.preset presets/new.preset"
  prepare
  expect 0 format.sh 0
  expect 0 install.sh
  cp -R "$user_presets" wanted_presets
  cp new.preset wanted_presets/
  verify wanted_presets
}

damaged_backup() {
  cut_at "Restoring" 0
  dd if=/dev/urandom of=backup.img bs=1M count=2 conv=notrunc status=none
  expect 1 format.sh 0
  decrypt_firmware
  [[ ! -s $root/tmp/fw/version.old.txt ]]
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

readonly format_lines=("Checking the memory" "Saving" "Checking the saved" "Formatting" "Restoring"
  "Checking the presets" "Formatted")
readonly install_lines=("Installing... 13" "Installing... 40" "Installing... 70" "Writing to the disk"
  "Checking the files" "Writing the version" "Installed")

every_cut() {
  local line
  for line in "${format_lines[@]}" "${install_lines[@]}"; do
    it "an update after a power cut at \"$line\" succeeds and keeps the presets" cut_update "$line"
  done
  it "an update after two power cuts keeps the presets" cut_twice "Restoring" "Continuing"
  it "an update after a power cut in format.sh and one in install.sh keeps the presets" \
    cut_twice "Checking the presets" "Writing to"
  for line in Formatting Formatted "Installing... 40" "Writing the version" "Installed"; do
    it "a factory reset succeeds after a power cut at \"$line\" in the previous one" cut_reset "$line"
  done
  it "a factory reset discards the saved presets" reset_discards_backup
  it "an update continues from the backup when the memory is incomplete" incomplete_memory
  it "an update uses a complete memory instead of an older backup" stale_backup
  it "an update fails when the backup of an incomplete memory is damaged, and a factory reset succeeds" damaged_backup
  # Both shells run the same commands, so this runs only with BusyBox.
  [[ $shell == dash ]] ||
    it "an update survives a power cut before each command that may write" cut_at_every_command
}

if [[ ${2:-} == sample ]]; then
  it "an update after a power cut in format.sh succeeds and keeps the presets" cut_update "Restoring"
  it "an update after a power cut in install.sh succeeds and keeps the presets" cut_update "Installing... 40"
  it "a factory reset succeeds after a power cut in the previous one" cut_reset "Writing the version"
else
  every_cut
fi
finish
