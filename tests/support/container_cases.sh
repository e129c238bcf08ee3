# Sourced by the tests of both decrypt scripts: damaged, wrongly signed and malicious firmware files
# that both scripts must reject. The sourcing test provides the fixture and sets two variables: $device_root, the
# root folder of the device, and $drive, the device node of the drive that plug_firmware plugs in.
# shellcheck shell=bash disable=SC2154 # the sourcing script sets the variables

# expect_corrupt FIRMWARE: decrypt.sh must exit with 3 and remove /tmp/fw.
expect_corrupt() {
  plug_firmware "$1"
  expect 3 decrypt.sh "$drive"
  [[ ! -e $device_root/tmp/fw ]] || { echo "/tmp/fw still exists"; return 1; }
  unplug_drive
}

flipped_bytes() {
  local size offset
  size=$(stat -c %s "$work/tonecrate.fw")
  for offset in 0 15 16 24 32 $((size / 2)) -65 -64 -32 -1; do
    echo "byte $offset"
    cp "$work/tonecrate.fw" bad.fw
    flip bad.fw "$offset"
    expect_corrupt bad.fw
  done
}

truncated_firmware() {
  local size length
  size=$(stat -c %s "$work/tonecrate.fw")
  for length in 0 16 79 80 81 $((size / 2)) $((size - 64)) $((size - 1)); do
    echo "$length bytes"
    head -c "$length" "$work/tonecrate.fw" >bad.fw
    expect_corrupt bad.fw
  done
}

lengthened_firmware() {
  { cat "$work/tonecrate.fw"; printf x; } >bad.fw
  expect_corrupt bad.fw
}

random_firmware() {
  head -c 50000 /dev/urandom >bad.fw
  expect_corrupt bad.fw
}

foreign_firmware() {
  "$repository/packaging/maker/tonecrate-make-keys" foreign
  cp "$work/keys/firmware.key" foreign/
  "$repository/packaging/maker/tonecrate-pack-firmware" "$firmware" 2.0.0 foreign bad.fw
  expect_corrupt bad.fw
}

empty_container() {
  printf 'tonecrate-fw-01\n' >sealed
  sign sealed bad.fw "$work/keys"
  expect_corrupt bad.fw
}

# expect_archive_rejected: seals ./archive validly. decrypt.sh must reject it and leave none of its files.
expect_archive_rejected() {
  seal archive bad.fw
  expect_corrupt bad.fw
  local kernel=(-path "$device_root/proc" -o -path "$device_root/sys")
  [[ -z $(find "$device_root" \( "${kernel[@]}" \) -prune -o -name 'evil*' -print) ]] ||
    { echo "a file of the archive still exists"; return 1; }
}

# archive_parts: creates ./version.txt and ./firmware/a.txt, the minimum content of a valid archive.
archive_parts() {
  rm -rf version.txt firmware
  echo 9.9 >version.txt
  mkdir firmware
  echo a >firmware/a.txt
}

independently_sealed_archive() {
  archive_parts
  tar -cf archive version.txt firmware
  seal archive good.fw
  plug_firmware good.fw
  expect 0 decrypt.sh "$drive"
  [[ $(cat "$device_root/tmp/fw/firmware/a.txt") == a ]]
}

malicious_path() {
  archive_parts
  echo x >evil
  tar -P --transform="s,^evil,$1," -cf archive version.txt firmware evil
  tar -tPf archive 2>/dev/null | grep -q evil
  expect_archive_rejected
}

symbolic_link() {
  archive_parts
  mkdir -p other/link
  echo x >other/link/evil
  ln -s ../../.. firmware/link
  tar -cf archive version.txt firmware
  tar -rf archive --transform='s,^other,firmware,' other/link/evil
  expect_archive_rejected
}

hard_link() {
  archive_parts
  ln firmware/a.txt firmware/b.txt
  tar -cf archive version.txt firmware
  expect_archive_rejected
}

named_pipe() {
  archive_parts
  mkfifo firmware/pipe
  tar -cf archive version.txt firmware
  expect_archive_rejected
}

archive_of_only() {
  archive_parts
  tar -cf archive "$1"
  expect_archive_rejected
}

invalid_versions() {
  local version
  for version in "" $' \n \n' "$(printf '1%.0s' {1..33})" $'1.\0332'; do
    echo "version \"${version//[[:cntrl:]]/?}\""
    archive_parts
    printf '%s' "$version" >version.txt
    tar -cf archive version.txt firmware
    expect_archive_rejected
  done
}

not_an_archive() {
  head -c 3000 /dev/urandom >archive
  expect_archive_rejected
}

container_cases() {
  it "decrypt exits 3 when any byte is flipped" flipped_bytes
  it "decrypt exits 3 when the firmware file is truncated" truncated_firmware
  it "decrypt exits 3 when a byte is appended" lengthened_firmware
  it "decrypt exits 3 on random data" random_firmware
  it "decrypt exits 3 on firmware signed with another key" foreign_firmware
  it "decrypt exits 3 on a signed container without content" empty_container
  it "decrypt accepts an independently sealed archive" independently_sealed_archive
  it "decrypt rejects an absolute path" malicious_path "/tmp/evil"
  it "decrypt rejects an absolute path into the firmware" malicious_path "/firmware/evil"
  it "decrypt rejects a path out of the firmware folder" malicious_path "firmware/../../../evil"
  it "decrypt rejects a path out of the firmware folder and back into it" malicious_path "firmware/../firmware/evil"
  it "decrypt rejects a file next to the firmware folder" malicious_path "evil.txt"
  it "decrypt rejects a name with a quote" malicious_path 'firmware/evil".txt'
  it "decrypt rejects a name with a line feed" malicious_path 'firmware/evil\ntwo'
  it "decrypt rejects a symbolic link and files below it" symbolic_link
  it "decrypt rejects a hard link" hard_link
  it "decrypt rejects a named pipe" named_pipe
  it "decrypt rejects an archive without a version" archive_of_only firmware
  it "decrypt rejects an archive without files" archive_of_only version.txt
  it "decrypt rejects a version that is empty, too long or not one printable word" invalid_versions
  it "decrypt rejects content that is not an archive" not_an_archive
}
