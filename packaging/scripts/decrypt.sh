#!/bin/sh
# Unpacks the firmware file of a USB drive into /tmp/fw and writes the new and the installed version there.
# Installed as /usr/sbin/decrypt.sh. Usage: decrypt.sh DRIVE, for example /dev/sda1 or /dev/sda
# Exit status: 0 success, 1 drive not accessible or wrong arguments, 2 no tonecrate.fw on the drive, 3 tonecrate.fw is
# corrupt or not signed by the manufacturer, 4 any other failure. The screen has a message for 1, 2 and 3, and keeps the
# last progress line for 4.
unexpected_status=4
if [ ! -r "${0%/sbin/*}/lib/tonecrate/common.sh" ] || [ ! -r "${0%/sbin/*}/lib/tonecrate/container.sh" ]; then
  echo "SHOW: Failed: scripts are missing"
  sleep 1
  exit 4
fi
# shellcheck source=common.sh
. "${0%/sbin/*}/lib/tonecrate/common.sh"
# shellcheck source=container.sh
. "$root/usr/lib/tonecrate/container.sh"

drive=$root${1:-}
scratch=$unpacked.new

require_drive() {
  is_device "$drive" || fail 1 "$drive does not exist"
}

# stop REASON [DETAIL]: shows the reason, at most 40 characters, for 1 s, so that the updater displays it. Then fails
# with 4.
stop() {
  show "$1"
  sleep 1
  fail 4 "$1${2:+ ($2)}"
}

# Fails when the device lacks a tool or a key, which must not be reported as a corrupt file.
require_system() {
  for tool in openssl zstd tar dd cut expr sed; do
    command -v "$tool" >/dev/null || stop "Failed: $tool is missing"
  done
  for key in "$signing_key" "$firmware_key"; do
    [ -s "$key" ] || stop "Failed: ${key##*/} is missing"
  done
}

unreadable() {
  fail 1 "tonecrate.fw cannot be read"
}

out_of_memory() {
  stop "Failed: not enough memory in /tmp"
}

# corrupt REASON: fails with 3, or with 1 if the drive has been removed, because the removal can cause any error.
corrupt() {
  require_drive
  fail 3 "tonecrate.fw: $1"
}

# The kernel creates the device of a drive before the devices of its partitions, and the updater may poll in between.
# Therefore waits 1 s for the first partition when the drive cannot be mounted.
mount_drive() {
  show "Reading the drive... 5%"
  release "$drive_mount"
  try_mount || { sleep 1 && try_mount; } || fail 1 "$drive cannot be mounted"
}

try_mount() {
  require_drive
  for device in "$drive" "${drive}1"; do
    for type in $drive_file_systems; do
      ! { is_device "$device" && mount_at "$drive_mount" "$type" ro "$device"; } || return 0
    done
  done
  return 1
}

# Sets `file` to the firmware file on the drive. The case of its name is ignored.
find_firmware() {
  for file in "$drive_mount"/[Tt][Oo][Nn][Ee][Cc][Rr][Aa][Tt][Ee].[Ff][Ww]; do
    [ ! -f "$file" ] || return 0
  done
  ls "$drive_mount" >/dev/null || fail 1 "$drive cannot be read"
  require_drive
  fail 2 "no tonecrate.fw on $drive"
}

# component VERSION NUMBER: splits component NUMBER of VERSION into its leading digits and the text after them. Sets
# `digits` (without leading zeros) and `rest`.
component() {
  part=$(printf '%s\n' "$1" | cut -d . -f "$2")
  rest=$(printf '%s\n' "$part" | sed 's/^[0-9]*//')
  digits=$(printf '%s\n' "${part%"$rest"}" | sed 's/^0*//')
}

# sorts_before TEXT TEXT
sorts_before() {
  expr "x$1" \< "x$2" >/dev/null
  [ $? -ne 1 ]
}

# is_older VERSION VERSION: succeeds when the first one is older. Compares the leading numbers of components, by length
# first because a number may have 32 digits, and then the texts after the numbers. A missing component is 0. The dot
# appended to a text sorts after "-" and before letters: 2.0-rc1 is older than 2.0, and 2.0a is newer.
is_older() {
  for number in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16; do
    component "$1." "$number"
    left_digits=$digits left_rest=$rest
    component "$2." "$number"
    if [ "$left_digits$left_rest" != "$digits$rest" ]; then
      [ "${#left_digits}" -eq "${#digits}" ] || { [ "${#left_digits}" -lt "${#digits}" ]; return; }
      [ "$left_digits" = "$digits" ] || { sorts_before "$left_digits" "$digits"; return; }
      sorts_before "$left_rest." "$rest."
      return
    fi
  done
  return 1
}

check_version() {
  [ -n "$minimum_version" ] || return 0
  case $minimum_version in
  *[!A-Za-z0-9.+-]* | [!0-9]*) stop "Failed: invalid minimum_version" ;;
  esac
  ! is_older "$version" "$minimum_version" || stop "Failed: older than the minimum version" "$version, $minimum_version"
}

# Requires room for the unpacked files, two chunks, and the listing of the content.
check_memory() {
  needed=$(((unpacked_size + 2 * chunk_size) / 1024 + 1024))
  [ "$(available_kib "$scratch")" -ge "$needed" ] || stop "Failed: needs $((needed / 1024 + 1)) MB of memory"
}

# Shows progress between 15 % and 80 %.
after_chunk() {
  show "Unpacking... $((15 + $1 * chunk_size * 65 / (payload_size + chunk_size)))%"
}

# Reads the installed version from the memory, or from the backup if an interrupted update left the memory incomplete.
# Writes an empty version.old.txt if there is no installed version. If the memory is already mounted elsewhere, reads
# the version there, although format.sh will refuse to format it. Mounts read-write if mounting read-only fails: the
# kernel rejects a read-only mount while another namespace has the memory mounted for writing.
write_old_version() {
  show "Reading the old version... 85%"
  : >"$scratch/fw/version.old.txt"
  if folder=$(mount_point_of "$memory_device") && [ "$folder" != "$memory_mount" ]; then
    cat "$folder/version.txt" >"$scratch/fw/version.old.txt"
  elif unmount "$memory_mount" && { mount_memory ro || mount_memory rw; } && memory_is_complete; then
    cat "$memory_mount/version.txt" >"$scratch/fw/version.old.txt"
  elif unmount "$backup_mount" && mount_backup ro && backup_is_complete; then
    cat "$backup_mount/complete/version.txt" >"$scratch/fw/version.old.txt"
  fi || printf '%s: the installed version cannot be read\n' "$script_name" >&2
}

# mv -T never moves into an existing /tmp/fw: it replaces an empty folder, and fails for anything else.
put_in_place() {
  show "Checking the files... 90%"
  { list_contents "$scratch/fw" >"$scratch/fw/contents" && chmod 700 "$scratch/fw"; } || out_of_memory
  show "Ready 100%"
  require_drive
  mv -T "$scratch/fw" "$unpacked" || stop "Failed: $unpacked is in use"
}

main() {
  [ $# -eq 1 ] || fail 1 "usage: decrypt.sh DRIVE"
  rm -rf "$unpacked"
  make_scratch || stop "Failed: $scratch cannot be made"
  require_system
  require_drive
  mount_drive
  find_firmware
  show "Checking the signature... 10%"
  open_container "$file"
  check_version
  check_memory
  show "Unpacking... 15%"
  unpack_payload "$scratch/fw"
  release "$drive_mount"
  require_drive
  write_old_version
  put_in_place
  succeed
}

supervise "$@"
