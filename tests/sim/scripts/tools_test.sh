#!/bin/bash
# Tests the tools that make drives and devices, and verify_memory.sh.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

drive_has_partition_table() {
  "$scripts/make_drive.sh" "my drive.img" "$work/tonecrate.fw"
  [[ $(sfdisk -d "my drive.img" | grep -c 'start= *2048,') -eq 1 ]]
  plug_partitioned "my drive.img"
  fsck.vfat -n "$DEVICE_ROOT/dev/sda1"
  mcopy -i "my drive.img@@1M" ::tonecrate.fw copy.fw
  cmp copy.fw "$work/tonecrate.fw"
}

drive_grows_with_files() {
  truncate -s 50M large.bin
  "$scripts/make_drive.sh" drive.img large.bin "$work/tonecrate.fw"
  plug_partitioned drive.img
  fsck.vfat -n "$DEVICE_ROOT/dev/sda1"
  expect 0 decrypt.sh /dev/sda1
}

drive_arguments() {
  refuses "$scripts/make_drive.sh"
  refuses "$scripts/make_drive.sh" --no-partition
  refuses "$scripts/make_drive.sh" --unknown out.img
  refuses "$scripts/make_drive.sh" out.img nowhere.fw
  refuses "$scripts/make_drive.sh" nowhere/out.img
  [[ ! -e out.img ]]
}

device_arguments() {
  refuses "$scripts/make_device.sh"
  refuses "$scripts/make_device.sh" "$DEVICE_ROOT" "$work/keys"
  refuses "$scripts/make_device.sh" new nowhere
  refuses "$scripts/make_device.sh" nowhere/new "$work/keys"
  refuses "$scripts/make_device.sh" new "$work/keys" 8192 0 "../1"
  [[ ! -e new ]]
}

# installed_version VERSION: makes a device with this version, and prints the version in its memory.
installed_version() {
  "$scripts/make_device.sh" "$1" "$work/keys" 8192 0 "$1"
  debugfs -R 'cat /version.txt' "$1/dev/memory" 2>/dev/null
}

device_has_version() {
  [[ $(installed_version 0.9-beta) == 0.9-beta && -z $(installed_version none) ]]
  [[ -n $(debugfs -R 'ls -p /presets' none/dev/memory 2>/dev/null) ]]
}

device_has_no_private_key() {
  cmp "$DEVICE_ROOT/etc/tonecrate/signing.pub" "$work/keys/signing.pub"
  if grep -r "PRIVATE KEY" "$DEVICE_ROOT"; then return 1; fi
}

# verify_detects COMMAND...: checks that verify_memory.sh fails after COMMAND changed the memory of an updated device.
verify_detects() {
  update_device
  "$@"
  refuses "$scripts/verify_memory.sh" "$DEVICE_ROOT" "$firmware" 2.0.0 kept
}

verify_compares_versions_and_presets() {
  update_device
  [[ $(verify kept | wc -l) -eq 1 ]]
  refuses "$scripts/verify_memory.sh" "$DEVICE_ROOT" "$firmware" 2.0.1 kept
  refuses "$scripts/verify_memory.sh" "$DEVICE_ROOT" "$firmware" 2.0.0 lost
  refuses "$scripts/verify_memory.sh" "$DEVICE_ROOT" "$firmware" 2.0.0 perhaps
  refuses "$scripts/verify_memory.sh" "$DEVICE_ROOT" nowhere 2.0.0 kept
  refuses "$scripts/verify_memory.sh" nowhere "$firmware" 2.0.0 kept
}

add_stray_file() {
  echo stray >stray
  printf 'cd /firmware\nwrite stray stray\n' | debugfs -w -f /dev/stdin "$DEVICE_ROOT/dev/memory" 2>/dev/null
}

damage_file_system() {
  memory_command 'set_inode_field /firmware/boot/greeting.txt links_count 5'
}

make_fixtures
it "make_drive makes one valid FAT partition at 1 MiB" drive_has_partition_table
it "make_drive makes a larger drive for larger files" drive_grows_with_files
it "make_drive rejects wrong arguments and leaves no file" drive_arguments
it "make_device copies no private key to the device" device_has_no_private_key
it "make_device rejects wrong arguments and leaves no folder" device_arguments
it "make_device installs the given version; with the version none, only the presets" device_has_version
it "verify rejects a wrong version, wrong presets and wrong arguments" verify_compares_versions_and_presets
it "verify detects a missing file" verify_detects memory_command 'rm /firmware/config/audio.conf'
it "verify detects an extra file" verify_detects add_stray_file
it "verify detects a missing preset" verify_detects memory_command 'rm /presets/night-bus.preset'
it "verify detects a damaged file system" verify_detects damage_file_system
finish
