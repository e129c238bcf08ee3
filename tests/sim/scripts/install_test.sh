#!/bin/bash
# Tests that install.sh writes every file, and detects files that were not written correctly.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

# small_memory ARGUMENT: formats a memory that is too small for the unpacked firmware.
small_memory() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  echo 128 >"$DEVICE_ROOT/etc/tonecrate/memory_kib"
  expect 0 format.sh "$1"
}

install_does_not_fit() {
  small_memory "$1"
  local before
  before=$(memory_hash)
  expect 1 install.sh
  [[ $(memory_hash) == "$before" ]]
}

# broken_tool FILTER: installs a debugfs that filters its commands and exits with 0.
broken_tool() {
  mkdir bin
  cat >bin/debugfs <<END
#!/bin/bash
PATH="$PATH"
[[ \$1 != -w ]] || { $1 | debugfs "\$@"; exit 0; }
exec debugfs "\$@"
END
  chmod +x bin/debugfs
}

# install_reads_back ARGUMENT_OF_FORMAT PRESETS FILTER
install_reads_back() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  expect 0 format.sh "$1"
  broken_tool "$3"
  local before
  before=$(memory_hash)
  PATH=$PWD/bin:$PATH expect 1 install.sh
  [[ $(memory_hash) == "$before" ]]
  expect 0 install.sh
  verify "$2"
}

install_without_firmware() {
  local before
  before=$(memory_hash)
  expect 1 install.sh
  expect 2 install.sh 0
  [[ $(memory_hash) == "$before" ]]
}

install_without_memory() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  rm "$DEVICE_ROOT/dev/memory"
  expect 1 install.sh
  [[ ! -e $DEVICE_ROOT/dev/memory ]]
}

install_names_with_spaces() {
  mkdir -p "my firmware/one two/empty folder" "my firmware/presets-factory"
  echo 1 >"my firmware/one two/ three  four .txt"
  : >"my firmware/one two/-empty"
  echo 2 >"my firmware/presets-factory/my preset"
  "$maker/tonecrate-pack-firmware" "my firmware" 3.0-rc.1 "$work/keys" "my firmware.fw"
  plug_firmware "my firmware.fw"
  expect 0 decrypt.sh /dev/sda
  expect 0 format.sh 1
  expect 0 install.sh
  "$scripts/verify_memory.sh" "$DEVICE_ROOT" "my firmware" 3.0-rc.1 lost
}

install_without_factory_presets() {
  mkdir plain
  echo 1 >plain/one
  "$maker/tonecrate-pack-firmware" plain 3.0 "$work/keys" plain.fw
  plug_firmware plain.fw
  expect 0 decrypt.sh /dev/sda
  expect 0 format.sh 1
  expect 0 install.sh
  "$scripts/verify_memory.sh" "$DEVICE_ROOT" plain 3.0 lost
}

make_fixtures
it "install for an update fails when the files do not fit" install_does_not_fit 0
it "install for a reset fails when the files do not fit" install_does_not_fit 1
it "install detects a file that was not written" install_reads_back 0 kept "grep -v snare"
it "install detects a file with wrong content" install_reads_back 0 kept "sed 's,hat.wav\" ,kick.wav\" ,'"
it "install detects a version that was not written" install_reads_back 0 kept "grep -v version.txt"
it "install detects that nothing was written" install_reads_back 0 kept true
it "install detects a factory preset that was not written" \
  install_reads_back 1 lost "sed '/^cd \"\/presets\/bass\"/{n;d}'"
it "install fails without unpacked firmware or with an argument" install_without_firmware
it "install fails without a memory" install_without_memory
it "install reports a missing device root" needs_device_root install.sh
it "install accepts names with spaces, empty files and empty folders" install_names_with_spaces
it "a factory reset to a firmware without factory presets leaves no presets" install_without_factory_presets
finish
