#!/bin/bash
# Tests that decrypt.sh rejects damaged, wrongly signed and malicious firmware files.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

# expect_corrupt FIRMWARE: decrypt.sh must exit with 3 and leave no /tmp/fw.
expect_corrupt() {
  plug_firmware "$1"
  expect 3 decrypt.sh /dev/sda1
  [[ ! -e $root/tmp/fw ]] || { echo "/tmp/fw still exists"; return 1; }
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
  "$maker/tonecrate-make-keys" foreign
  cp "$work/keys/firmware.key" foreign/
  "$maker/tonecrate-pack-firmware" "$firmware" 2.0.0 foreign bad.fw
  expect_corrupt bad.fw
}

# Exchanges the first two chunks, but not their checksums.
exchanged_chunks() {
  local header size
  "$maker/tonecrate-pack-firmware" --chunk 30000 "$firmware" 2.0.0 "$work/keys" chunks.fw
  size=$(stat -c %s chunks.fw)
  header=$((size - $(sed -n 's/^payload //p' chunks.fw)))
  {
    head -c "$header" chunks.fw
    dd if=chunks.fw iflag=skip_bytes,count_bytes skip=$((header + 30000)) count=30000 status=none
    dd if=chunks.fw iflag=skip_bytes,count_bytes skip="$header" count=30000 status=none
    dd if=chunks.fw iflag=skip_bytes skip=$((header + 60000)) status=none
  } >bad.fw
  [[ $(stat -c %s bad.fw) -eq $size ]]
  expect_corrupt bad.fw
}

damaged_chunk() {
  "$maker/tonecrate-pack-firmware" --chunk 5000 "$firmware" 2.0.0 "$work/keys" bad.fw
  flip bad.fw -7500
  expect_corrupt bad.fw
}

# good_parts: creates ./manifest and ./payload of a valid firmware file. Seals it only the first time.
good_parts() {
  if [[ ! -e $work/good ]]; then
    archive_parts
    tar -cf archive version.txt firmware
    seal archive good.fw
    mkdir "$work/good"
    mv manifest payload "$work/good/"
  fi
  cp "$work/good/manifest" "$work/good/payload" .
}

# signed_manifest COMMAND...: COMMAND changes the manifest before it is signed. decrypt.sh must reject the file.
signed_manifest() {
  good_parts
  "$@" <manifest >changed
  mv changed manifest
  seal_manifest bad.fw
  expect_corrupt bad.fw
}

# header_with SIZE: the header contains SIZE instead of the manifest's size. decrypt.sh must reject the file.
header_with() {
  good_parts
  printf 'tonecrate-fw-02\n%s\n' "$1" | cat - manifest >signed
  sign signed sealed "$work/keys"
  cat sealed payload >bad.fw
  expect_corrupt bad.fw
}

older_format() {
  good_parts
  { printf 'tonecrate-fw-01\n' && cat payload; } >signed
  sign signed bad.fw "$work/keys"
  expect_corrupt bad.fw
}

# expect_archive_rejected: seals ./archive with the right keys. decrypt.sh must reject it and leave no file named
# evil*.
expect_archive_rejected() {
  seal archive bad.fw
  expect_corrupt bad.fw
  local kernel=(-path "$root/proc" -o -path "$root/sys")
  [[ -z $(find "$root" \( "${kernel[@]}" \) -prune -o -name 'evil*' -print) ]] ||
    { echo "a file of the archive still exists"; return 1; }
}

independently_sealed_archive() {
  archive_parts
  tar -cf archive version.txt firmware
  seal archive good.fw
  plug_firmware good.fw
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$root/tmp/fw/firmware/a.txt") == a ]]
}

malicious_path() {
  archive_parts
  echo x >evil
  tar -P --transform="s,^evil,$1," -cf archive version.txt firmware evil
  [[ $(tar -tPf archive 2>/dev/null) == *evil* ]]
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

it "decrypt exits 3 when a byte is flipped" flipped_bytes
it "decrypt exits 3 when the firmware file is truncated" truncated_firmware
it "decrypt exits 3 when a byte is appended" lengthened_firmware
it "decrypt exits 3 on random data" random_firmware
it "decrypt exits 3 on firmware signed with another key" foreign_firmware
it "decrypt rejects a firmware file in an older format" older_format
it "decrypt rejects exchanged chunks" exchanged_chunks
it "decrypt rejects a damaged chunk" damaged_chunk
for size in 00000000 00000001 00000010 99999999 0000012x -0000001 "" 123 000000000123; do
  it "decrypt rejects the manifest size \"$size\"" header_with "$size"
done
for change in 1d 2d 3d 4d 5d 's/^version .*/version/' 's/^version .*/version 9.8/' 's/^version .*/version ../' \
  's/^unpacked .*/unpacked -1/' 's/^unpacked .*/unpacked 1e3/' 's/^payload .*/payload 0/' \
  's/^payload /payload 1/' 's/^chunk .*/chunk 0/' 's/^chunk .*/chunk 99999999999999999999/' 's/^chunk .*/chunk 7/' \
  '5s/^./x/' '5s/$/ x/' '5p' '1!G;h;$!d'; do
  it "decrypt rejects a manifest that was changed by sed \"$change\" before it was signed" signed_manifest sed "$change"
done
it "decrypt accepts a firmware file that was not made by tonecrate-pack-firmware" independently_sealed_archive
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
it "decrypt rejects an archive without version.txt" archive_of_only firmware
it "decrypt rejects an archive without the folder firmware" archive_of_only version.txt
it "decrypt rejects a version that is empty, blank or too long, or contains a control character" invalid_versions
it "decrypt rejects content that is not an archive" not_an_archive
finish
