# Sourced by decrypt.sh, format.sh and install.sh: exit handling, mounts, and the state of the partitions.
# Installed as /usr/lib/tonecrate/common.sh. Compatible with BusyBox ash and dash.
#
# The memory is complete when it contains version.txt, which is removed before any other change and written last.
# The backup is complete when it contains the folder "complete", which gets this name after its content is on the disk.
# At every moment of an update the memory or the backup is complete and contains the owner's presets, so a power cut
# loses nothing. When both are complete, the memory is newer.
# shellcheck shell=sh disable=SC2034 # the sourcing scripts use some of the names

export LC_ALL=C
PATH=/usr/sbin:/usr/bin:/sbin:/bin
script_name=${0##*/}
verdict=         # the exit status, once it is known
default_status=1 # the exit status of an unexpected failure
unpacked=/tmp/fw # the unpacked firmware, from decrypt.sh for install.sh
scratch=         # a folder to remove when the script ends

# fail STATUS MESSAGE
fail() {
  printf '%s: %s\n' "$script_name" "$2" >&2
  verdict=$1
  exit "$1"
}

succeed() {
  verdict=0
  exit 0
}

# show TEXT: prints one progress line, at most 40 characters, the width of the display.
show() {
  printf 'SHOW: %s\n' "$1"
}

# Runs at every exit, also after a signal. The script must exit with its own status: the updater treats a fatal signal
# as success and has no message for other statuses.
finish() {
  trap '' HUP INT PIPE TERM
  trap - EXIT
  release "$drive_mount"
  release "$memory_mount"
  release "$backup_mount"
  [ -z "$scratch" ] || rm -rf "$scratch"
  exit "${verdict:-$default_status}"
}

# is_mounted FOLDER: succeeds when FOLDER is a mount point.
is_mounted() {
  while read -r _ folder _; do
    [ "$folder" != "$1" ] || return 0
  done </proc/mounts
  return 1
}

# unmount FOLDER: writes everything to the disk, so the next mount reads from the disk. Fails when the folder is in use.
unmount() {
  while is_mounted "$1"; do
    { sync -f "$1" && umount "$1"; } || return 1
  done
}

# release FOLDER: detaches the mount even when it is in use; the kernel unmounts it after its last user.
release() {
  while is_mounted "$1"; do
    umount "$1" 2>/dev/null || umount -l "$1" || return 1
  done
}

# mount_at FOLDER TYPE OPTIONS DEVICE
mount_at() {
  mkdir -p "$1" && mount -t "$2" -o "$3,nosuid,nodev,noexec" "$4" "$1"
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
  e2fsck -f -p "$1" >&2 || [ $? -le 2 ]
}

# make_file_system DEVICE
make_file_system() {
  "$mke2fs" -q -F -t ext4 -m 0 "$1" </dev/null >&2
}

# same_tree FOLDER FOLDER: succeeds when both contain the same folders, links and files, byte by byte.
same_tree() {
  [ "$(list_tree "$1")" = "$(list_tree "$2")" ] &&
    [ -z "$(cd "$1" && find . -type f ! -exec cmp -s {} "$2"/{} \; -print)" ]
}

list_tree() {
  cd "$1" || return
  for type in d f l; do
    find . -type "$type" | sort
  done
  find . -type l -exec readlink {} \; | sort
}

# device_number DEVICE: prints MAJOR:MINOR.
device_number() {
  printf '%d:%d\n' "0x$(stat -L -c %t "$1")" "0x$(stat -L -c %T "$1")"
}

# require_free DEVICE: fails unless it is a block device that is not in use.
require_free() {
  [ -b "$1" ] || fail 1 "$1 is not a block device"
  number=$(device_number "$1")
  ! grep "^[0-9]* [0-9]* $number " /proc/self/mountinfo >&2 || fail 1 "$1 is mounted"
  ! grep -s "^$1[^0-9]" /proc/swaps >&2 || fail 1 "$1 is swap space"
  for used_by in "/sys/dev/block/$number/holders"/* "/sys/dev/block/$number"/*/partition; do
    [ ! -e "$used_by" ] || fail 1 "$1 is in use: $used_by"
  done
}

# Fails unless both partitions are free and different.
require_partitions() {
  { unmount "$memory_mount" && unmount "$backup_mount"; } || fail 1 "the partitions are in use"
  require_free "$memory_device"
  require_free "$backup_device"
  [ "$(device_number "$memory_device")" != "$(device_number "$backup_device")" ] ||
    fail 1 "the memory and its backup are the same device"
}

set -u
drive_mount='' memory_mount='' backup_mount='' # for exits before the settings are read
trap finish EXIT
trap 'exit 1' HUP INT PIPE TERM
# shellcheck source=updater.conf
. /etc/tonecrate/updater.conf
