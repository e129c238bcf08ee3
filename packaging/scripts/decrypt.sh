#!/bin/sh
# Unpacks the firmware file of a USB drive into /tmp/fw and writes the new and the installed version there.
# Installed as /usr/sbin/decrypt.sh. Usage: decrypt.sh DRIVE, for example /dev/sda1 or /dev/sda
# Exit status: 0 success, 1 drive not accessible, 2 no tonecrate.fw on the drive, 3 tonecrate.fw is corrupt. The screen
# has no message for any other status: an unexpected failure exits with 1 while the drive is read, and with 3
# afterwards.
[ -r /usr/lib/tonecrate/common.sh ] || exit 1
# shellcheck source=common.sh
. /usr/lib/tonecrate/common.sh

drive=${1:-}
scratch=$unpacked.new

require_drive() {
  [ -b "$drive" ] || fail 1 "$drive does not exist"
}

# corrupt REASON: fails with 3, or with 1 if the drive has been removed, because the removal can damage the copied file.
corrupt() {
  require_drive
  fail 3 "tonecrate.fw: $1"
}

make_scratch() {
  rm -rf "$unpacked" "$scratch"
  (umask 077 && mkdir "$scratch") || fail 1 "cannot create $scratch"
}

# The kernel creates the device of a drive before the devices of its partitions, and the updater may poll in between.
# Therefore waits 1 s for the first partition when the drive cannot be mounted.
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

# Sets `file` to the firmware file on the drive, whose name may have any case.
find_firmware() {
  for file in "$drive_mount"/[Tt][Oo][Nn][Ee][Cc][Rr][Aa][Tt][Ee].[Ff][Ww]; do
    [ ! -f "$file" ] || return 0
  done
  ls "$drive_mount" >/dev/null || fail 1 "$drive cannot be read"
  require_drive
  fail 2 "no tonecrate.fw on $drive"
}

# Copies the whole file, so that the later steps do not read the drive. The sizes are compared because a read beyond the
# end of a drive may end early without an error.
copy_firmware() {
  show "Reading the drive... 30%"
  if ! cp "$file" "$scratch/container"; then
    cat "$file" >/dev/null || fail 1 "tonecrate.fw cannot be read"
    corrupt "does not fit into /tmp"
  fi
  [ "$(stat -c %s "$scratch/container")" = "$(stat -c %s "$file")" ] || fail 1 "tonecrate.fw cannot be read completely"
  release "$drive_mount"
  require_drive
}

# A container is a 16-byte format name, the encrypted archive, and a 64-byte Ed25519 signature of both.
check_signature() {
  show "Checking the signature... 50%"
  signed_size=$(($(stat -c %s "$scratch/container") - 64))
  { [ "$signed_size" -gt 16 ] && [ "$(head -c 16 "$scratch/container")" = "tonecrate-fw-01" ]; } ||
    corrupt "not a firmware container"
  { tail -c 64 "$scratch/container" >"$scratch/signature" && truncate -s "$signed_size" "$scratch/container"; } ||
    corrupt "cannot be split"
  openssl pkeyutl -verify -pubin -inkey "$signing_key" -rawin -in "$scratch/container" \
    -sigfile "$scratch/signature" >&2 || corrupt "not signed with $signing_key"
}

# Removes the input of each step early, because /tmp may be in RAM.
decrypt_archive() {
  show "Decrypting... 65%"
  tail -c +17 "$scratch/container" | openssl enc -d -aes-256-cbc -md sha256 -pbkdf2 -iter 10000 \
    -pass "file:$firmware_key" -out "$scratch/archive.gz" || corrupt "cannot be decrypted"
  rm "$scratch/container"
  gzip -dc "$scratch/archive.gz" >"$scratch/archive" || corrupt "not compressed"
  rm "$scratch/archive.gz"
}

# Rejects everything except version.txt, and files and folders with plain names below firmware/. tar lists a hard link
# as a file with an arrow in its name, and prints an error when it changes a name.
check_members() {
  tar --numeric-owner -tvf "$scratch/archive" >"$scratch/members" 2>"$scratch/complaints" || corrupt "not an archive"
  [ ! -s "$scratch/complaints" ] || corrupt "not a plain archive"
  while read -r mode _ _ _ _ name; do
    case $mode in
    -* | d*) ;;
    *) corrupt "contains a link or a device" ;;
    esac
    case /$name/ in
    *[!A-Za-z0-9._+\ /-]* | */../*) corrupt "contains a forbidden path" ;;
    /version.txt/ | /firmware/*) ;;
    *) corrupt "contains a forbidden path" ;;
    esac
  done <"$scratch/members"
}

unpack() {
  show "Unpacking... 80%"
  { mkdir "$scratch/fw" && tar --no-same-permissions -xof "$scratch/archive" -C "$scratch/fw"; } ||
    corrupt "cannot be unpacked"
  rm "$scratch/archive"
  [ -d "$scratch/fw/firmware" ] || corrupt "contains no files"
  [ -z "$(find "$scratch/fw" ! -type f ! -type d)" ] || corrupt "contains a link or a device"
}

# The version is one word of at most 32 characters, so that it fits the display.
check_version() {
  version=
  [ ! -f "$scratch/fw/version.txt" ] || read -r version _ <"$scratch/fw/version.txt" || :
  case $version in
  '' | [!A-Za-z0-9]* | *[!A-Za-z0-9.+-]*) corrupt "contains no valid version" ;;
  esac
  [ "${#version}" -le 32 ] || corrupt "contains no valid version"
}

# Reads the installed version from the backup after an interrupted update. The file is empty if there is no installed
# version.
write_old_version() {
  : >"$scratch/fw/version.old.txt"
  if unmount "$memory_mount" && mount_memory ro && memory_is_complete; then
    cp "$memory_mount/version.txt" "$scratch/fw/version.old.txt"
  elif unmount "$backup_mount" && mount_backup ro && backup_is_complete; then
    cp "$backup_mount/complete/version.txt" "$scratch/fw/version.old.txt"
  fi || printf '%s: the installed version cannot be read\n' "$script_name" >&2
}

# A function, so that the shell reads the whole script before it runs the first command.
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
  mv "$scratch/fw" "$unpacked" || corrupt "cannot be moved to $unpacked"
  succeed
}

main "$@"
