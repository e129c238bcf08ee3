#!/bin/bash
# Tests that format.sh keeps the presets for an update, and changes nothing when it fails.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

format_arguments() {
  local before
  before=$(memory_hash)
  expect 2 format.sh
  expect 2 format.sh 2
  expect 2 format.sh 00
  expect 2 format.sh ""
  expect 2 format.sh 0 1
  [[ $(memory_hash) == "$before" ]]
}

# format_fails_untouched KIB ARGUMENT
format_fails_untouched() {
  local before
  before=$(memory_hash)
  echo "$1" >"$DEVICE_ROOT/etc/tonecrate/memory_kib"
  expect 1 format.sh "$2"
  [[ $(memory_hash) == "$before" ]]
}

# Installs an mke2fs that loses a file and exits with 0.
format_loses_preset() {
  local before
  before=$(memory_hash)
  mkdir bin
  cat >bin/mke2fs <<END
#!/bin/bash
PATH="$PATH"
mke2fs "\$@" && debugfs -w -R 'rm /presets/night-bus.preset' "\${@: -2:1}"
END
  chmod +x bin/mke2fs
  PATH=$PWD/bin:$PATH expect 1 format.sh 0
  [[ $(memory_hash) == "$before" ]]
}

format_without_size() {
  local before
  before=$(memory_hash)
  rm "$DEVICE_ROOT/etc/tonecrate/memory_kib"
  expect 1 format.sh 1
  [[ $(memory_hash) == "$before" ]]
}

format_replaced_memory() {
  rm "$DEVICE_ROOT/dev/memory"
  expect 1 format.sh 0
  expect 1 format.sh 1
  mkdir "$DEVICE_ROOT/dev/memory"
  touch "$DEVICE_ROOT/dev/memory/something"
  expect 1 format.sh 0
  expect 1 format.sh 1
  [[ -e $DEVICE_ROOT/dev/memory/something ]]
}

format_damaged_memory() {
  dd if=/dev/urandom of="$DEVICE_ROOT/dev/memory" bs=1K count=200 conv=notrunc status=none
  local before
  before=$(memory_hash)
  expect 1 format.sh 0
  [[ $(memory_hash) == "$before" ]]
  expect 0 format.sh 1
  e2fsck -fn "$DEVICE_ROOT/dev/memory"
}

format_removes_firmware() {
  expect 0 format.sh 0
  [[ -z $(memory_command 'cat /version.txt') ]]
  memory_command 'ls -p /' >list
  [[ $(cat list) == */presets/* && $(cat list) != */firmware/* ]]
}

format_uses_memory_size() {
  echo 8192 >"$DEVICE_ROOT/etc/tonecrate/memory_kib"
  expect 0 format.sh 0
  [[ $(stat -c %s "$DEVICE_ROOT/dev/memory") -eq $((8192 * 1024)) ]]
}

many_presets_survive() {
  plug_partitioned "$work/drive.img"
  mkdir -p "presets/deep/er/and deeper" presets/empty
  local i
  for i in $(seq 200); do head -c "$((i * 37))" /dev/urandom >"presets/deep/er/and deeper/take $i.bin"; done
  mkdir content
  mv presets content/
  truncate -s 0 "$DEVICE_ROOT/dev/memory"
  mke2fs -q -F -t ext4 -d content "$DEVICE_ROOT/dev/memory" 32768k 2>/dev/null
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh 0
  expect 0 install.sh
  mkdir back
  debugfs -R 'rdump /presets back' "$DEVICE_ROOT/dev/memory" 2>/dev/null
  diff -r content/presets back/presets
}

make_fixtures
it "format exits 2 for wrong arguments and changes nothing" format_arguments
it "format for an update fails in 4 KiB and changes nothing" format_fails_untouched 4 0
it "format for a factory reset fails in 4 KiB and changes nothing" format_fails_untouched 4 1
it "format fails in 0 KiB and changes nothing" format_fails_untouched 0 1
it "format fails when the size is not a number and changes nothing" format_fails_untouched large 1
it "format fails without a size and changes nothing" format_without_size
it "format fails when the memory is missing or a folder" format_replaced_memory
it "format detects a lost preset and changes nothing" format_loses_preset
it "format for an update rejects a damaged memory, and a factory reset repairs it" format_damaged_memory
it "format removes the firmware and its version" format_removes_firmware
it "format uses the size in memory_kib" format_uses_memory_size
it "format reports a missing device root" needs_device_root format.sh 0
it "200 presets in nested folders survive an update" many_presets_survive
finish
