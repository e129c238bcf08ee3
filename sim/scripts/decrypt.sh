#!/bin/bash
# Unpacks the firmware file of the USB drive into /tmp/fw and writes the new and the installed version there.
# Usage: decrypt.sh /dev/sda|/dev/sda1
# Exit status: 0 success, 1 drive not accessible, 2 no tonecrate.fw on it, 3 tonecrate.fw is corrupt, 4 any other
# failure.
set -eEuo pipefail
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
unexpected_status=4

readonly public_key=etc/tonecrate/signing.pub firmware_key=etc/tonecrate/firmware.key
drive=

require_drive() {
  [[ -f $drive && -s $drive ]] || fail 1 "/$drive does not exist"
}

# corrupt REASON: fails with 3, or with 1 if the drive has been removed, because the removal can damage the copied file.
corrupt() {
  require_drive
  fail 3 "tonecrate.fw is corrupt: $1"
}

# Prints the size of tonecrate.fw in bytes, or nothing when there is no such file. Ignores the case of the name.
listed_size() {
  local row
  while IFS= read -r row; do
    [[ ! ${row,,} =~ ^.{12}\ +([0-9]+)\ .*\ \ tonecrate\.fw$ ]] || printf '%s' "${BASH_REMATCH[1]}"
  done <"$scratch/listing"
}

# The sizes are compared because a read beyond the end of a drive ends early without an error.
read_drive() {
  local size
  show "Reading the drive... 10%"
  require_drive
  mdir -f -a -i "$drive" :: >"$scratch/listing" 2>/dev/null || fail 1 "/$drive has no readable FAT file system"
  size=$(listed_size)
  if [[ -z $size ]]; then
    require_drive
    fail 2 "no tonecrate.fw on /$drive"
  fi
  show "Reading the drive... 40%"
  mcopy -n -i "$drive" ::tonecrate.fw "$scratch/container" </dev/null >/dev/null 2>&1 ||
    fail 1 "tonecrate.fw cannot be read from /$drive"
  [[ $(stat -c %s "$scratch/container") == "$size" ]] || fail 1 "tonecrate.fw cannot be read completely"
  require_drive
}

check_signature() {
  show "Checking the signature... 60%"
  head -c -64 "$scratch/container" >"$scratch/signed"
  tail -c 64 "$scratch/container" >"$scratch/signature"
  print_container_magic | cmp -s -n 16 - "$scratch/signed" || corrupt "not a firmware container"
  openssl pkeyutl -verify -pubin -inkey "$public_key" -rawin -in "$scratch/signed" \
    -sigfile "$scratch/signature" >/dev/null 2>&1 || corrupt "wrong signature"
}

decrypt_archive() {
  show "Decrypting... 75%"
  tail -c +17 "$scratch/signed" | run_cipher "$firmware_key" -d 2>/dev/null |
    gzip -dc >"$scratch/archive" 2>/dev/null || corrupt "cannot be decrypted"
}

# Rejects everything except version.txt, and files and folders with plain names below firmware/.
check_members() {
  local row name
  tar --numeric-owner -tvPf "$scratch/archive" >"$scratch/members" 2>/dev/null || corrupt "not an archive"
  while IFS= read -r row; do
    [[ $row =~ ^[-d][^\ ]{9}\ [0-9]+/[0-9]+\ +[0-9]+\ [0-9-]+\ [0-9:]+\ (.+)$ ]] ||
      corrupt "contains a link or a device"
    name=${BASH_REMATCH[1]}
    { is_plain_path "$name" && [[ $name == version.txt || $name == firmware/* ]]; } ||
      corrupt "contains a forbidden path"
  done <"$scratch/members"
}

unpack() {
  local version=
  show "Unpacking... 90%"
  check_members
  mkdir "$scratch/fw"
  tar --no-same-owner --no-same-permissions -xf "$scratch/archive" -C "$scratch/fw" 2>/dev/null ||
    corrupt "cannot be unpacked"
  [[ -d $scratch/fw/firmware ]] || corrupt "contains no files"
  [[ ! -f $scratch/fw/version.txt ]] || read -r version _ <"$scratch/fw/version.txt" || true
  is_version "$version" || corrupt "contains no valid version"
}

# The file is empty when there is no memory or no installed version.
write_old_version() {
  debugfs -R 'cat /version.txt' dev/memory >"$scratch/fw/version.old.txt" 2>/dev/null || true
}

main() {
  [[ $# -eq 1 && ($1 == /dev/sda || $1 == /dev/sda1) ]] || fail 4 "usage: decrypt.sh /dev/sda|/dev/sda1"
  enter_device
  drive=${1#/}
  [[ -s $public_key && -s $firmware_key ]] || fail 4 "the keys of the device are missing"
  mkdir -p tmp
  rm -rf tmp/fw
  make_scratch tmp
  read_drive
  check_signature
  decrypt_archive
  unpack
  write_old_version
  show "Ready 100%"
  require_drive
  mv -T "$scratch/fw" tmp/fw
}

main "$@"
