# Sourced by common.sh: storage on block devices.
# Installed as /usr/lib/tonecrate/partitions.sh. Compatible with BusyBox ash and dash.
# shellcheck shell=sh disable=SC2154 # common.sh sets the names

# is_device PATH
is_device() {
  [ -b "$1" ]
}

# is_mounted FOLDER: succeeds when FOLDER is a mount point.
is_mounted() {
  while read -r _ folder _; do
    [ "$folder" != "$1" ] || return 0
  done </proc/mounts
  return 1
}

# mount_at FOLDER TYPE ro|rw DEVICE
mount_at() {
  mkdir -p "$1" && mount -t "$2" -o "$3,nosuid,nodev,noexec" "$4" "$1"
}

# attach FOLDER PATH: makes a folder of a mounted file system appear at PATH, an empty folder. `release` undoes this.
attach() {
  mount -o bind "$1" "$2"
}

# unmount FOLDER: writes everything to the disk, so the next mount reads from the disk. Fails when the folder is in use.
unmount() {
  while is_mounted "$1"; do
    { sync -f "$1" && umount "$1"; } || return 1
  done
}

# release FOLDER: detaches the mount even when it is in use. The kernel then unmounts the file system after its last
# use.
release() {
  while is_mounted "$1"; do
    umount "$1" 2>/dev/null || umount -l "$1" || return 1
  done
}

# device_number DEVICE: prints MAJOR:MINOR.
device_number() {
  printf '%d:%d\n' "0x$(stat -L -c %t "$1")" "0x$(stat -L -c %T "$1")"
}

# same_device DEVICE DEVICE
same_device() {
  [ "$(device_number "$1")" = "$(device_number "$2")" ]
}

# device_size DEVICE: prints the size of DEVICE in bytes.
device_size() {
  read -r sectors <"/sys/dev/block/$(device_number "$1")/size"
  echo $((sectors * 512))
}

# sector_size DEVICE: prints the size of a sector in bytes.
sector_size() {
  folder=/sys/dev/block/$(device_number "$1")
  [ -d "$folder/queue" ] || folder=$folder/..
  cat "$folder/queue/logical_block_size"
}

# mount_point_of DEVICE: prints where the root folder of the file system on DEVICE is mounted. Fails when it is not
# mounted.
mount_point_of() {
  number=$(device_number "$1" 2>/dev/null) || return 1
  while read -r _ _ device_of_mount source folder _; do
    if [ "$device_of_mount $source" = "$number /" ]; then
      # The kernel prints a blank as \040; %b needs \0040.
      printf '%b\n' "$(printf '%s\n' "$folder" | sed 's/\\/\\0/g')"
      return
    fi
  done </proc/self/mountinfo
  return 1
}

# require_free DEVICE: fails unless DEVICE is a writable block device that has no partitions and is not in use.
require_free() {
  [ -b "$1" ] || fail 1 "$1 is not a block device"
  ! folder=$(mount_point_of "$1") || fail 1 "$1 is mounted at $folder: stop what uses it before the update"
  number=$(device_number "$1")
  [ "$(cat "/sys/dev/block/$number/ro")" = 0 ] || fail 1 "$1 is read-only"
  for partition in "/sys/dev/block/$number"/*/partition; do
    [ ! -e "$partition" ] || fail 1 "$1 has partitions"
  done
  # mke2fs -n writes nothing, and fails when the device is in use, for example mounted in another namespace.
  "$mke2fs" -n -q -F -t ext4 "$1" </dev/null >/dev/null || fail 1 "$1 is in use"
}

# Rejects mount points with characters that the kernel may escape in /proc/mounts.
for folder in "$drive_mount" "$memory_mount" "$backup_mount"; do
  case $folder in
  *[!A-Za-z0-9/._-]*)
    printf '%s: %s\n' "$script_name" "$folder" >&2
    give_up "invalid mount point"
    ;;
  esac
done
