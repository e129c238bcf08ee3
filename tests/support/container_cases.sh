# Sourced by the tests of both decrypt scripts: the damaged, foreign and hostile firmware files that each must refuse.
# Wants what the kits beside those tests define, the device's root in $device_root, and in $drive the device that a
# drive plugged with plug_firmware becomes.
# shellcheck shell=bash disable=SC2154 # the variables are of the test that sources this

# refuses_firmware: a drive with ./bad.fw as its firmware.
refuses_firmware() {
  plug_firmware bad.fw
  expect 3 decrypt.sh "$drive"
  [[ ! -e $device_root/tmp/fw ]]
}

flipped_byte() {
  cp "$work/tonecrate.fw" bad.fw
  flip bad.fw "$1"
  refuses_firmware
}

truncated_firmware() {
  head -c "$1" "$work/tonecrate.fw" >bad.fw
  refuses_firmware
}

lengthened_firmware() {
  { cat "$work/tonecrate.fw"; printf x; } >bad.fw
  refuses_firmware
}

garbage_firmware() {
  head -c 50000 /dev/urandom >bad.fw
  refuses_firmware
}

foreign_firmware() {
  "$repository/sim/scripts/make_keys.sh" foreign
  cp "$work/keys/firmware.key" foreign/
  "$repository/sim/scripts/pack_firmware.sh" "$firmware" 2.0.0 foreign bad.fw
  refuses_firmware
}

signed_but_empty() {
  printf 'tonecrate-fw-01\n' >sealed
  sign sealed bad.fw "$work/keys"
  refuses_firmware
}

# refuses_archive: a rightly sealed ./archive, nothing of which may be left anywhere.
refuses_archive() {
  seal archive bad.fw
  refuses_firmware
  local kernel=(-path "$device_root/proc" -o -path "$device_root/sys")
  [[ -z $(find "$device_root" \( "${kernel[@]}" \) -prune -o -name 'evil*' -print) ]]
}

# archive_parts: ./version.txt and ./firmware/a.txt, which every archive of the cases below holds.
archive_parts() {
  echo 9.9 >version.txt
  mkdir firmware
  echo a >firmware/a.txt
}

sealed_by_hand() {
  archive_parts
  tar -cf archive version.txt firmware
  seal archive good.fw
  plug_firmware good.fw
  expect 0 decrypt.sh "$drive"
  [[ $(cat "$device_root/tmp/fw/firmware/a.txt") == a ]]
}

hostile_path() {
  archive_parts
  echo x >evil
  tar -P --transform="s,^evil,$1," -cf archive version.txt firmware evil
  tar -tPf archive 2>/dev/null | grep -q evil
  refuses_archive
}

hostile_symbolic_link() {
  archive_parts
  mkdir -p other/link
  echo x >other/link/evil
  ln -s ../../.. firmware/link
  tar -cf archive version.txt firmware
  tar -rf archive --transform='s,^other,firmware,' other/link/evil
  refuses_archive
}

hostile_hard_link() {
  archive_parts
  ln firmware/a.txt firmware/b.txt
  tar -cf archive version.txt firmware
  refuses_archive
}

hostile_pipe() {
  archive_parts
  mkfifo firmware/pipe
  tar -cf archive version.txt firmware
  refuses_archive
}

archive_of_only() {
  archive_parts
  tar -cf archive "$1"
  refuses_archive
}

archive_with_version() {
  archive_parts
  printf '%s' "$1" >version.txt
  tar -cf archive version.txt firmware
  refuses_archive
}

not_an_archive() {
  head -c 3000 /dev/urandom >archive
  refuses_archive
}

# container_cases: all of them, with the one beside them that must be accepted.
container_cases() {
  local size offset length
  size=$(stat -c %s "$work/tonecrate.fw")
  for offset in 0 15 16 24 31 32 $((size / 3)) $((size / 2)) -65 -64 -33 -32 -1; do
    it "decrypt exits 3 when byte $offset is flipped" flipped_byte "$offset"
  done
  for length in 0 1 16 79 80 81 $((size / 2)) $((size - 64)) $((size - 1)); do
    it "decrypt exits 3 when only the first $length bytes are there" truncated_firmware "$length"
  done
  it "decrypt exits 3 when a byte is added" lengthened_firmware
  it "decrypt exits 3 on garbage" garbage_firmware
  it "decrypt exits 3 on firmware signed by someone else" foreign_firmware
  it "decrypt exits 3 on a signed container with nothing inside" signed_but_empty
  it "decrypt accepts an archive sealed by hand" sealed_by_hand
  it "decrypt refuses an absolute path" hostile_path "/tmp/evil"
  it "decrypt refuses an absolute path into the firmware" hostile_path "/firmware/evil"
  it "decrypt refuses a path out of the firmware folder" hostile_path "firmware/../../../evil"
  it "decrypt refuses a path out of the firmware folder and in again" hostile_path "firmware/../firmware/evil"
  it "decrypt refuses a file beside the firmware folder" hostile_path "evil.txt"
  it "decrypt refuses a name with a quote" hostile_path 'firmware/evil".txt'
  it "decrypt refuses a name with a line end" hostile_path 'firmware/evil\ntwo'
  it "decrypt refuses a symbolic link and what goes through it" hostile_symbolic_link
  it "decrypt refuses a hard link" hostile_hard_link
  it "decrypt refuses a named pipe" hostile_pipe
  it "decrypt refuses an archive without version" archive_of_only firmware
  it "decrypt refuses an archive without files" archive_of_only version.txt
  it "decrypt refuses an empty version" archive_with_version ""
  it "decrypt refuses a version of white space" archive_with_version $' \n \n'
  it "decrypt refuses a version too long for the display" archive_with_version "$(printf '1%.0s' {1..33})"
  it "decrypt refuses a version with a control character" archive_with_version $'1.\0332'
  it "decrypt refuses what is no archive" not_an_archive
}
