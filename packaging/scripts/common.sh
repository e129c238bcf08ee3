# Sourced by decrypt.sh, format.sh and install.sh: how a script ends, mounting, and what lies on the partitions.
# Installed as /usr/lib/tonecrate/common.sh. Runs under BusyBox ash and dash.
#
# The memory is whole when it holds version.txt: that is removed before anything else on it is, and comes back last.
# The backup is whole when it holds the folder "complete", which gets its name when everything inside is on the disk.
# So there is, whenever the power fails in an update, one of the two that is whole and has the owner's presets.
# When both are whole, the memory holds the newer ones.
# shellcheck shell=sh disable=SC2034 # some of the names are for those who source this

export LC_ALL=C
PATH=/usr/sbin:/usr/bin:/sbin:/bin
script_name=${0##*/}
verdict=         # the exit status, once it is known
default_status=1 # that of a failure which the script did not foresee
unpacked=/tmp/fw # what decrypt.sh leaves for install.sh
scratch=         # a folder that goes when the script ends

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

# show TEXT: one line of progress, at most 40 characters, the width of the display.
show() {
  printf 'SHOW: %s\n' "$1"
}

# Every end comes through here, that by a signal too: the program that runs the scripts takes a status which is not the
# script's own for a success, or has no words for it.
finish() {
  trap '' HUP INT PIPE TERM
  trap - EXIT
  release "$drive_mount"
  release "$memory_mount"
  release "$backup_mount"
  [ -z "$scratch" ] || rm -rf "$scratch"
  exit "${verdict:-$default_status}"
}

# is_mounted FOLDER
is_mounted() {
  while read -r _ folder _; do
    [ "$folder" != "$1" ] || return 0
  done </proc/mounts
  return 1
}

# unmount FOLDER: everything is on the disk then, and the next mount reads it from there. Fails when it is in use.
unmount() {
  while is_mounted "$1"; do
    { sync -f "$1" && umount "$1"; } || return 1
  done
}

# release FOLDER: takes it out of the tree at once; what is still in use goes when its last user does.
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

memory_is_whole() {
  [ -s "$memory_mount/version.txt" ]
}

backup_is_whole() {
  [ -d "$backup_mount/complete" ]
}

# repair DEVICE: fails when the file system needs more than a routine repair, or there is none.
repair() {
  e2fsck -f -p "$1" >&2 || [ $? -le 2 ]
}

# make_file_system DEVICE
make_file_system() {
  "$mke2fs" -q -F -t ext4 -m 0 "$1" </dev/null >&2
}

# same_tree FOLDER FOLDER: the same folders, the same links, the same files, byte by byte.
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

# require_free DEVICE: it is a block device, and nobody uses it.
require_free() {
  [ -b "$1" ] || fail 1 "$1 is not a block device"
  number=$(device_number "$1")
  ! grep "^[0-9]* [0-9]* $number " /proc/self/mountinfo >&2 || fail 1 "$1 is mounted"
  ! grep -s "^$1[^0-9]" /proc/swaps >&2 || fail 1 "$1 is swap space"
  for used_by in "/sys/dev/block/$number/holders"/* "/sys/dev/block/$number"/*/partition; do
    [ ! -e "$used_by" ] || fail 1 "$1 is in use: $used_by"
  done
}

# The partitions, when this script may write on them.
require_partitions() {
  { unmount "$memory_mount" && unmount "$backup_mount"; } || fail 1 "the partitions are in use"
  require_free "$memory_device"
  require_free "$backup_device"
  [ "$(device_number "$memory_device")" != "$(device_number "$backup_device")" ] ||
    fail 1 "the memory and its backup are the same device"
}

set -u
drive_mount='' memory_mount='' backup_mount='' # none yet
trap finish EXIT
trap 'exit 1' HUP INT PIPE TERM
# shellcheck source=updater.conf
. /etc/tonecrate/updater.conf
