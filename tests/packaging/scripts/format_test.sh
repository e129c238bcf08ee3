#!/bin/bash
# Tests that format.sh keeps the presets for an update, and changes nothing when it fails.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

# fails_untouched ARGUMENT...: format.sh fails and changes no byte of either partition.
fails_untouched() {
  local before
  before=$(hash_of memory.img)$(hash_of backup.img)
  expect 1 format.sh "$@"
  [[ $(hash_of memory.img)$(hash_of backup.img) == "$before" ]] ||
    { echo "format.sh $* changes a partition"; return 1; }
}

# presets_stay ARGUMENT: format.sh fails, and the memory keeps its presets and version.
presets_stay() {
  expect 1 format.sh "$1"
  e2fsck -fn memory.img
  debugfs -R "rdump / $PWD" memory.img 2>/dev/null
  diff -r "$user_presets" presets
  [[ $(cat version.txt) == 1.4.2 ]]
}

keeps_presets_alone() {
  expect 0 format.sh 0
  e2fsck -fn memory.img
  mkdir seen
  debugfs -R "rdump / seen" memory.img 2>/dev/null
  diff -r "$user_presets" seen/presets
  [[ $(ls seen) == $'lost+found\npresets' ]]
}

reset_leaves_nothing() {
  expect 0 format.sh 1
  for image in memory.img backup.img; do
    e2fsck -fn "$image"
    rm -rf seen
    mkdir seen
    debugfs -R "rdump / seen" "$image" 2>/dev/null
    [[ $(ls seen) == lost+found ]]
  done
}

wrong_arguments() {
  local before arguments
  before=$(hash_of memory.img)
  for arguments in "" 2 00 "0 1"; do
    # shellcheck disable=SC2086 # several arguments
    expect 2 format.sh $arguments
  done
  [[ $(hash_of memory.img) == "$before" ]]
}

without_partition() {
  mv "$root/dev/$1" aside
  fails_untouched 0
  fails_untouched 1
  touch "$root/dev/$1"
  fails_untouched 0
  fails_untouched 1
}

mounted_elsewhere() {
  mount "$(cat "$work/loops/$1")" "$root/elsewhere"
  expect 1 format.sh 0
  expect 1 format.sh 1
  umount "$root/elsewhere"
}

# This mount is in another namespace.
mounted_outside_the_root() {
  mkdir mounted
  mount "$(cat "$work/loops/mmcblk0p3")" mounted
  presets_stay 0
  presets_stay 1
  umount mounted
}

used_as_swap() {
  mkswap "$root/dev/mmcblk0p4"
  swapon "$root/dev/mmcblk0p4" || { echo "this kernel has no swap space"; return 0; }
  presets_stay 0
  swapoff "$root/dev/mmcblk0p4"
}

one_device_for_both() {
  change_setting backup_device /dev/mmcblk0p3
  fails_untouched 0
  fails_untouched 1
}

presets_too_large() {
  mkdir more
  head -c 8M /dev/urandom >more/take.wav
  memory_command "write more/take.wav presets/take.wav"
  expect 1 format.sh 0
  [[ $(debugfs -R "cat presets/take.wav" memory.img 2>/dev/null | sha256sum) == "$(hash_of more/take.wav)" ]]
  [[ $(memory_command 'cat version.txt') == 1.4.2 ]]
}

damaged_memory() {
  dd if=/dev/urandom of=memory.img bs=1K count=200 conv=notrunc status=none
  fails_untouched 0
  expect 0 format.sh 1
  e2fsck -fn memory.img
}

memory_without_version() {
  memory_command 'rm version.txt'
  expect 1 format.sh 0
  debugfs -R "rdump presets $PWD" memory.img 2>/dev/null
  diff -r "$user_presets" presets
}

# unfaithful_copy LINE: after the progress line LINE, cp truncates a preset and reports success.
unfaithful_copy() {
  # shellcheck disable=SC2016 # for the script to expand
  on_line "$1" 'cp() { command cp "$@" && find "$3" -name "*.s16" -exec truncate -s 10 {} \; ; }'
  run format.sh 0
  [[ $status -eq 1 ]] || { echo "exits $status"; return 1; }
}

many_presets() {
  local i
  mkdir -p "content/presets/deep/er/and deeper" content/presets/empty
  for i in {1..200}; do head -c "$((i * 37))" /dev/urandom >"content/presets/deep/er/and deeper/täke $i.bin"; done
  ln -s "deep/er" content/presets/link
  echo 1.4.2 >content/version.txt
  mke2fs -q -F -t ext4 -d content memory.img 2>/dev/null
  update
  verify content/presets
}

no_presets() {
  mkdir -p content none
  echo 1.4.2 >content/version.txt
  mke2fs -q -F -t ext4 -d content memory.img 2>/dev/null
  update
  verify none
}

it "format for an update keeps only the presets" keeps_presets_alone
it "format for a factory reset leaves the memory and the backup empty" reset_leaves_nothing
it "format exits 2 for wrong arguments" wrong_arguments
for partition in mmcblk0p3 mmcblk0p4; do
  it "format fails when $partition is missing or a regular file" without_partition "$partition"
done
it "format fails when the memory is mounted" mounted_elsewhere mmcblk0p3
it "format fails when the memory is mounted in another namespace" mounted_outside_the_root
it "format fails when the backup is swap space" used_as_swap
it "format fails when the memory and the backup are the same device" one_device_for_both
it "format fails and keeps presets that do not fit into the backup" presets_too_large
it "format for an update rejects a damaged memory, and a factory reset repairs it" damaged_memory
it "format for an update rejects a memory without a version" memory_without_version
it "format detects that the saved presets differ" unfaithful_copy "Saving"
it "format detects that the restored presets differ" unfaithful_copy "Restoring"
it "200 presets in nested folders survive an update" many_presets
it "an update of a device without presets adds none" no_presets
finish
