# Sourced by decrypt.sh, format.sh and install.sh: exit handling, the lock, progress, and the state of the device.
# Installed as /usr/lib/tonecrate/common.sh. Compatible with BusyBox ash and dash.
#
# The unpacked firmware is complete when it contains "contents", which decrypt.sh writes last: a listing with checksums.
# The memory is formatted when the unpacked firmware contains "formatted", which format.sh writes last.
# The memory is complete when it contains version.txt, which is the first file removed and the last file written.
# The backup is complete when it contains the folder "complete", which gets this name after its content is on the disk.
# At every moment of an update the memory or the backup is complete and contains the owner's presets, so a power cut
# or a killed script loses no presets. When both are complete, the memory takes precedence.
# shellcheck shell=sh disable=SC2034 # the sourcing scripts use some of the names

export LC_ALL=C
PATH=/usr/sbin:/usr/bin:/sbin:/bin
set -u
script_name=${0##*/}
root=${0%/usr/sbin/*} # empty on the device
: "${unexpected_status:=1}" # the exit status when a signal or an unexpected error ends the script
scratch= # a folder to remove when the script ends
trap 'give_up "error in updater.conf"' EXIT # removed after the settings have been read

# fail STATUS MESSAGE: ends `main`, and with it the script.
fail() {
  printf '%s: %s\n' "$script_name" "$2" >&2
  exit $((result_offset + $1))
}

# give_up REASON: ends the script when `main` does not run or has not ended normally. The screen has no message for
# exit status 4 of decrypt.sh, so decrypt.sh shows the reason, at most 32 characters.
give_up() {
  trap - EXIT
  printf '%s: %s\n' "$script_name" "$1" >&2
  [ "$unexpected_status" -eq 1 ] || { show "Failed: $1" && sleep 1; }
  exit "$unexpected_status"
}

# usage TEXT: ends the script because of a wrong argument.
usage() {
  trap - EXIT
  printf '%s: usage: %s\n' "$script_name" "$1" >&2
  exit 2
}

succeed() {
  exit "$result_offset"
}

# show TEXT: prints a progress line. TEXT has at most 40 characters, the width of the display.
show() {
  printf 'SHOW: %s\n' "$1"
}

# `main` exits with this number plus the exit status of the script. Any other status means that a signal or an error of
# the shell ended `main`.
readonly result_offset=100

# supervise [ARGUMENT...]: runs `main` in a grandchild process, cleans up after it, and exits.
# The updater treats a script that a signal kills as successful if the shell of popen() has replaced itself with the
# script. Therefore this process only waits. When `main` is killed, the script fails. When this process is killed, its
# descendants still hold the output open, and the updater waits for them.
supervise() {
  lock
  release_all # what a killed script has left behind
  trap clean_up EXIT
  trap 'exit "$unexpected_status"' HUP INT PIPE TERM
  (
    (main "$@")
    result=$?
    [ "$result" -eq "$result_offset" ] || hold_failure
    exit "$result"
  )
  result=$(($? - result_offset))
  if [ "$result" -lt 0 ] || [ "$result" -gt 4 ]; then
    clean_up
    give_up "the script was interrupted"
  fi
  exit "$result"
}

# Never returns when the script's first process has been killed, because the updater would treat the failure as success.
hold_failure() {
  read -r _ _ _ parent _ </proc/self/stat
  [ "$parent" != $$ ] || return 0
  show "Failed: switch off and update again"
  while :; do
    sleep 3600
  done
}

# Fails when another script, or a command that a killed script has left behind, is still running.
lock() {
  command -v flock >/dev/null || give_up "flock is missing"
  { mkdir -p "$root/run/tonecrate" && command exec 9>"$root/run/tonecrate/lock"; } || give_up "/run cannot be written"
  flock -w 3 9 || give_up "another script is running" # a command of a killed script may take a moment to end
}

release_all() {
  release "$attached"
  release "$drive_mount"
  release "$memory_mount"
  release "$backup_mount"
}

clean_up() {
  trap '' HUP INT PIPE TERM
  release_all
  [ -z "$scratch" ] || rm -rf "$scratch"
}

# make_scratch: creates the folder $scratch, which only this user can read.
make_scratch() {
  rm -rf "$scratch"
  (umask 077 && mkdir "$scratch")
}

# mount_memory ro|rw
mount_memory() {
  mount_at "$memory_mount" ext4 "$1" "$memory_device"
}

# mount_backup ro|rw
mount_backup() {
  mount_at "$backup_mount" ext4 "$1" "$backup_device"
}

memory_is_complete() {
  [ -s "$memory_mount/version.txt" ]
}

backup_is_complete() {
  [ -d "$backup_mount/complete" ]
}

# repair DEVICE: fails when DEVICE has no file system, or when e2fsck cannot repair the file system automatically.
repair() {
  report=$(e2fsck -f -p "$1" 2>&1) && return
  [ $? -le 2 ] || { printf '%s\n' "$report" >&2; return 1; }
}

# make_file_system DEVICE [OPTION...]
make_file_system() {
  device=$1
  shift
  "$mke2fs" -q -F -t ext4 -m 0 "$@" "$device" </dev/null >&2
}

# list_tree FOLDER: lists type, mode, owner and name of everything in FOLDER, and size and checksum of each file. Omits
# the size of folders, which depends on the file system.
list_tree() {
  tree=$(cd "$1" && find . -type f -exec stat -c '%f %u:%g %s %N' {} + &&
    find . ! -type f -exec stat -c '%f %u:%g %t:%T %N' {} + &&
    find . -type f -exec openssl dgst -sha256 -r {} +) || return
  printf '%s\n' "$tree" | sort
}

# same_tree FOLDER FOLDER: succeeds when both have the same listing.
same_tree() {
  first=$(list_tree "$1") && second=$(list_tree "$2") && [ "$first" = "$second" ]
}

# list_contents FOLDER: lists the folder firmware in FOLDER, and prints the version.
list_contents() {
  list_tree "$1/firmware" && cat "$1/version.txt"
}

# Fails unless decrypt.sh, run by the same user, has created and completed /tmp/fw.
require_firmware() {
  [ "$(stat -c '%F %a %u' "$unpacked" 2>/dev/null)" = "directory 700 $(id -u)" ] ||
    fail 1 "there is no unpacked firmware"
  [ -s "$unpacked/contents" ] || fail 1 "the unpacked firmware is incomplete"
}

# Fails when the internal memory is missing, in use, read-only or divided into partitions.
require_memory() {
  unmount "$memory_mount" || fail 1 "the internal memory is in use"
  require_free "$memory_device"
}

# Fails when the backup is missing, in use, read-only, divided into partitions, or the same device as the memory.
require_backup() {
  unmount "$backup_mount" || fail 1 "the backup is in use"
  require_free "$backup_device"
  ! same_device "$memory_device" "$backup_device" || fail 1 "the memory and its backup are the same device"
}

storage=partitions minimum_version= # the defaults of optional settings
# shellcheck source=updater.conf
. "$root/etc/tonecrate/updater.conf"
# shellcheck source=partitions.sh
. "$root/usr/lib/tonecrate/$storage.sh"
content=$root/run/tonecrate/content # the files that format.sh puts in a new file system
attached=$content/new/presets       # where format.sh mounts the presets temporarily
unpacked=$root/tmp/fw               # from decrypt.sh for format.sh and install.sh
trap - EXIT
