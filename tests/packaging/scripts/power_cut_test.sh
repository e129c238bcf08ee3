#!/bin/bash
# Tests that after a loss of power in format.sh or install.sh a second update ends well, with the presets that the owner
# had. The power is cut by killing the whole of a script at once; what its file systems hold back in memory is lost.
set -uo pipefail
# shellcheck source=kit.sh
. "$(dirname "${BASH_SOURCE[0]}")/kit.sh"

# cut_power: what the disks hold at this moment is all that is left.
cut_power() {
  cp --sparse=always memory.img memory.cut
  cp --sparse=always backup.img backup.cut
  shut_down
  mv memory.cut memory.img
  mv backup.cut backup.img
  cp "$work/updater.conf" "$root/etc/tonecrate/"
  boot
}

# run_until_cut ARGUMENT: runs a whole update (0) or factory reset (1), as far as it gets, and tells in $cut whether that
# was to a cut.
run_until_cut() {
  local script status
  cut=no
  for script in "format.sh $1" install.sh; do
    status=0
    # shellcheck disable=SC2086 # a script and its argument
    setsid --wait env -i /usr/sbin/chroot "$root" /usr/sbin/$script >out 2>err </dev/null || status=$?
    [[ $status -ne 137 ]] || cut=yes
    [[ $status -eq 0 ]] || break
  done
  [[ $status -eq 0 || $status -eq 137 ]] || { echo "$script exits $status: $(cat err)"; return 1; }
}

# update_again: sets $old_version to what the device knows of its installed firmware before.
update_again() {
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  old_version=$(cat "$root/tmp/fw/version.old.txt")
  expect 0 format.sh 0
  expect 0 install.sh
  verify "$user_presets"
}

# What a script does before a command that may write counts as one; the power fails before number LAST. The scripts read
# their settings last, so these functions take the place of the commands.
cut_before_command() {
  echo 0 >"$root/run/count"
  cat >>"$root/etc/tonecrate/updater.conf" <<END
count() {
  read -r commands </run/count
  echo \$((commands + 1)) >/run/count
  [ \$commands -ne $1 ] || kill -s KILL 0
}
make_ext4() { count && /sbin/mke2fs "\$@"; }
mke2fs=make_ext4
END
  for command in mount umount e2fsck cp mv rm mkdir sync; do
    echo "$command() { count && command $command \"\$@\"; }"
  done >>"$root/etc/tonecrate/updater.conf"
}

# cut_at_every_command FOLLOWED_BY: from the first to the last, each time on a new device.
cut_at_every_command() {
  local number=0
  cp --sparse=always memory.img memory.new
  cp --sparse=always backup.img backup.new
  while true; do
    shut_down
    cp --sparse=always memory.new memory.img
    cp --sparse=always backup.new backup.img
    cp "$work/updater.conf" "$root/etc/tonecrate/"
    boot
    prepare
    cut_before_command "$number"
    run_until_cut 0
    [[ $cut == yes ]] || break
    cut_power
    update_again || { echo "after a cut before command $number"; return 1; }
    [[ $old_version == 1.4.2 || $old_version == 2.0.0 ]] || { echo "version lost by a cut before command $number"; return 1; }
    number=$((number + 1))
  done
  echo "$number commands"
  [[ $number -gt 40 ]]
}

# cut_at LINE ARGUMENT: at a progress line of an update (0) or a factory reset (1).
cut_at() {
  prepare
  on_line "$1" 'kill -s KILL 0'
  run_until_cut "$2"
  [[ $cut == yes && $(tail -n 1 out) == "SHOW: $1"* ]] || { echo "no such line"; return 1; }
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

# A reset was asked for and half done: the presets are gone for good.
reset_discards_backup() {
  cut_at "Restoring" 0
  cut_at "Formatted" 1
  prepare
  [[ ! -s $root/tmp/fw/version.old.txt ]]
  expect 1 format.sh 0
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

# The memory as it is when the power fails while its file system is being made.
half_made_memory() {
  cut_at "Formatting" 0
  memory_command 'rm version.txt'
  dd if=/dev/urandom of=memory.img bs=1M count=1 conv=notrunc status=none
  update_again
  [[ $old_version == 1.4.2 ]]
}

# The whole memory is the newer one, although the backup still looks whole.
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
  prepare
  [[ ! -s $root/tmp/fw/version.old.txt ]]
  expect 0 format.sh 1
  expect 0 install.sh
  verify "$firmware/presets-factory"
}

readonly format_lines=("Checking the memory" "Saving" "Checking the saved" "Formatting" "Restoring" "Checking the presets"
  "Formatted")
readonly install_lines=("Installing... 13" "Installing... 40" "Installing... 70" "Writing to the disk"
  "Checking the files" "Writing the version" "Installed")
for line in "${format_lines[@]}" "${install_lines[@]}"; do
  it "an update after a cut at \"$line\" ends well and keeps the presets" cut_update "$line"
done
it "an update after two cuts keeps the presets" cut_twice "Restoring" "Going on"
it "an update after a cut in format and one in install keeps the presets" cut_twice "Checking the presets" "Writing to"
for line in Formatting Formatted "Installing... 40" "Writing the version" "Installed"; do
  it "a factory reset after a cut of another at \"$line\" ends well" cut_reset "$line"
done
it "a factory reset discards what an update has saved" reset_discards_backup
it "an update goes on from the backup when the memory is half made" half_made_memory
it "a whole memory counts more than what an update has saved before" stale_backup
it "a damaged backup of a half-made memory is told, and a factory reset helps" damaged_backup
# It takes longest, and the commands are the same whatever the shell: the device's is enough.
[[ $shell == dash ]] ||
  it "an update after a cut before any command ends well and keeps the presets" cut_at_every_command
finish
