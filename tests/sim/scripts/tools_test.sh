#!/bin/bash
# Tests the tools that make keys, firmware files, drives and devices, and verify_memory.sh.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

# pack_refuses_folder COMMAND...: checks that pack_firmware.sh rejects ./folder after COMMAND made it invalid.
pack_refuses_folder() {
  mkdir -p folder/sub
  echo 1 >folder/one
  "$@"
  refuses "$scripts/pack_firmware.sh" folder 1.0 "$work/keys" out.fw
  [[ ! -e out.fw ]]
}

pack_refuses_versions() {
  local version
  for version in "" " " "1.0 beta" "1/2" $'1\n2' "-1" "$(printf '1%.0s' {1..33})"; do
    refuses "$scripts/pack_firmware.sh" "$firmware" "$version" "$work/keys" out.fw
  done
  [[ ! -e out.fw ]]
}

pack_arguments() {
  refuses "$scripts/pack_firmware.sh"
  refuses "$scripts/pack_firmware.sh" nowhere 1.0 "$work/keys" out.fw
  refuses "$scripts/pack_firmware.sh" "$firmware" 1.0 nowhere out.fw
  refuses "$scripts/pack_firmware.sh" "$firmware" 1.0 "$work/keys" nowhere/out.fw
  mkdir folder
  refuses "$scripts/pack_firmware.sh" "$firmware" 1.0 "$work/keys" folder
}

failed_pack_keeps_older_file() {
  echo older >out.fw
  refuses "$scripts/pack_firmware.sh" "$firmware" "not one word" "$work/keys" out.fw
  [[ $(cat out.fw) == older ]]
}

keys_are_not_overwritten() {
  "$scripts/make_keys.sh" "new keys"
  refuses "$scripts/make_keys.sh" "new keys"
  refuses "$scripts/make_keys.sh"
  refuses "$scripts/make_keys.sh" nowhere/keys
  [[ $(stat -c %a "new keys/signing.key") == 600 && $(stat -c %a "new keys/firmware.key") == 600 ]]
  ! cmp -s "new keys/firmware.key" "$work/keys/firmware.key"
}

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
  [[ ! -e new ]]
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
it "pack rejects a symbolic link" pack_refuses_folder ln -s one folder/two
it "pack rejects a named pipe" pack_refuses_folder mkfifo folder/pipe
it "pack rejects a quote in a name" pack_refuses_folder touch 'folder/a"b'
it "pack rejects a line end in a name" pack_refuses_folder touch $'folder/a\nb'
it "pack rejects an empty folder" pack_refuses_folder rm folder/one
it "pack rejects invalid versions" pack_refuses_versions
it "pack rejects wrong arguments" pack_arguments
it "a failed pack keeps the old file" failed_pack_keeps_older_file
it "make_keys makes private files and overwrites none" keys_are_not_overwritten
it "make_drive makes one valid FAT partition at 1 MiB" drive_has_partition_table
it "make_drive makes a larger drive for larger files" drive_grows_with_files
it "make_drive rejects wrong arguments and leaves no file" drive_arguments
it "make_device rejects wrong arguments and leaves no folder" device_arguments
it "verify detects a wrong version and wrong presets" verify_compares_versions_and_presets
it "verify detects a missing file" verify_detects memory_command 'rm /firmware/config/audio.conf'
it "verify detects an extra file" verify_detects add_stray_file
it "verify detects a missing preset" verify_detects memory_command 'rm /presets/night-bus.preset'
it "verify detects a damaged file system" verify_detects damage_file_system
finish
