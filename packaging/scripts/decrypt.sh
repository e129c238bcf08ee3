#!/bin/sh
# Unpacks the firmware file of a USB drive into /tmp/fw, and writes down the new and the installed version.
# Installed as /usr/sbin/decrypt.sh. Usage: decrypt.sh DRIVE, for instance /dev/sda1 or /dev/sda
# Exit: 0 done, 1 drive not accessible, 2 no tonecrate.fw on it, 3 tonecrate.fw is corrupt; nothing else, since the
# screen has no other words. A failure that is none of them counts as 1 while the drive is read, and as 3 afterwards.
[ -r /usr/lib/tonecrate/common.sh ] || exit 1
# shellcheck source=common.sh
. /usr/lib/tonecrate/common.sh

drive=${1:-}
scratch=$unpacked.new

require_drive() {
  [ -b "$drive" ] || fail 1 "$drive is not there"
}

# A drive that is pulled half-way looks like a damaged file; the pull is what really happened.
corrupt() {
  require_drive
  fail 3 "tonecrate.fw: $1"
}

make_scratch() {
  rm -rf "$unpacked" "$scratch"
  (umask 077 && mkdir "$scratch") || fail 1 "cannot make $scratch"
}

# The kernel makes the device of a drive before those of its partitions, and the program may have found it in between: a
# drive without a file system gets a second for its first partition to come.
mount_drive() {
  show "Reading the drive... 10%"
  release "$drive_mount"
  try_mount || { sleep 1 && try_mount; } || fail 1 "$drive cannot be mounted"
}

try_mount() {
  require_drive
  for device in "$drive" "${drive}1"; do
    for type in $drive_file_systems; do
      ! { [ -b "$device" ] && mount_at "$drive_mount" "$type" ro "$device"; } || return 0
    done
  done
  return 1
}

# Sets `file` to the firmware on the drive; case does not matter on it.
find_firmware() {
  for file in "$drive_mount"/[Tt][Oo][Nn][Ee][Cc][Rr][Aa][Tt][Ee].[Ff][Ww]; do
    [ ! -f "$file" ] || return 0
  done
  ls "$drive_mount" >/dev/null || fail 1 "$drive cannot be read"
  require_drive
  fail 2 "no tonecrate.fw on $drive"
}

# Reads all of it at once: from here on the drive only has to be there. The size is compared because a read past the end
# of a drive may end early without an error.
copy_firmware() {
  show "Reading the drive... 30%"
  if ! cp "$file" "$scratch/container"; then
    cat "$file" >/dev/null || fail 1 "tonecrate.fw cannot be read"
    corrupt "larger than what is left in /tmp"
  fi
  [ "$(stat -c %s "$scratch/container")" = "$(stat -c %s "$file")" ] || fail 1 "tonecrate.fw cannot be read to its end"
  release "$drive_mount"
  require_drive
}

# A container: 16 bytes that name the format, the encrypted archive, and a 64 byte Ed25519 signature of all before it.
check_signature() {
  show "Checking the signature... 50%"
  signed_size=$(($(stat -c %s "$scratch/container") - 64))
  { [ "$signed_size" -gt 16 ] && [ "$(head -c 16 "$scratch/container")" = "tonecrate-fw-01" ]; } ||
    corrupt "not a firmware container"
  { tail -c 64 "$scratch/container" >"$scratch/signature" && truncate -s "$signed_size" "$scratch/container"; } ||
    corrupt "cannot be taken apart"
  openssl pkeyutl -verify -pubin -inkey "$signing_key" -rawin -in "$scratch/container" \
    -sigfile "$scratch/signature" >&2 || corrupt "not signed with $signing_key"
}

# Each step's input goes as soon as it is not needed any more: /tmp may be memory.
decrypt_archive() {
  show "Decrypting... 65%"
  tail -c +17 "$scratch/container" | openssl enc -d -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 \
    -pass "file:$firmware_key" -out "$scratch/archive.gz" || corrupt "does not decrypt"
  rm "$scratch/container"
  gzip -dc "$scratch/archive.gz" >"$scratch/archive" || corrupt "not compressed"
  rm "$scratch/archive.gz"
}

# Refuses everything but plain files and folders with plain names, all of it version.txt or below firmware/.
# The list shows a hard link as a file whose name has an arrow in it; a tool that mends a name complains.
check_members() {
  tar --numeric-owner -tvf "$scratch/archive" >"$scratch/members" 2>"$scratch/complaints" || corrupt "not an archive"
  [ ! -s "$scratch/complaints" ] || corrupt "not a plain archive"
  while read -r mode _ _ _ _ name; do
    case $mode in
    -* | d*) ;;
    *) corrupt "holds a link or a device" ;;
    esac
    case /$name/ in
    *[!A-Za-z0-9._+\ /-]* | */../*) corrupt "holds a forbidden path" ;;
    /version.txt/ | /firmware/*) ;;
    *) corrupt "holds a forbidden path" ;;
    esac
  done <"$scratch/members"
}

unpack() {
  show "Unpacking... 80%"
  { mkdir "$scratch/fw" && tar --no-same-permissions -xof "$scratch/archive" -C "$scratch/fw"; } ||
    corrupt "does not unpack"
  rm "$scratch/archive"
  [ -d "$scratch/fw/firmware" ] || corrupt "no files inside"
  [ -z "$(find "$scratch/fw" ! -type f ! -type d)" ] || corrupt "holds a link or a device"
}

# One word that fits the display.
check_version() {
  version=
  [ ! -f "$scratch/fw/version.txt" ] || read -r version _ <"$scratch/fw/version.txt" || :
  case $version in
  '' | [!A-Za-z0-9]* | *[!A-Za-z0-9.+-]*) corrupt "no version inside" ;;
  esac
  [ "${#version}" -le 32 ] || corrupt "no version inside"
}

# From the backup when an update was cut short; without an installed version the file is empty.
write_old_version() {
  : >"$scratch/fw/version.old.txt"
  if unmount "$memory_mount" && mount_memory ro && memory_is_whole; then
    cp "$memory_mount/version.txt" "$scratch/fw/version.old.txt"
  elif unmount "$backup_mount" && mount_backup ro && backup_is_whole; then
    cp "$backup_mount/complete/version.txt" "$scratch/fw/version.old.txt"
  fi || printf '%s: the installed version cannot be read\n' "$script_name" >&2
}

# In a function, so that the whole script is read before anything happens.
main() {
  [ $# -eq 1 ] || fail 1 "usage: decrypt.sh DRIVE"
  make_scratch
  require_drive
  mount_drive
  find_firmware
  copy_firmware
  default_status=3
  check_signature
  decrypt_archive
  check_members
  unpack
  check_version
  write_old_version
  show "Ready 100%"
  require_drive
  mv "$scratch/fw" "$unpacked" || corrupt "cannot be put in place"
  succeed
}

main "$@"
