# Sourced by packaging/scripts/common.sh on a simulated device: implements storage with image files, without root.
# `mount_at` copies the files of an image into the mount point. `unmount` makes a new image of the files if they were
# mounted for writing. All paths are relative to the device's root, so the path of the root may contain characters that
# are special to the tools. While FOLDER is mounted, FOLDER.mounted contains the source of the mount, and ro or rw.
# shellcheck shell=sh disable=SC2034,SC2154 # common.sh sets and uses some of the names

cd "$root/" || exit "$unexpected_status"
root=.

# is_device PATH
is_device() {
  [ -f "$1" ] && [ -s "$1" ]
}

# is_mounted FOLDER
is_mounted() {
  [ -e "$1.mounted" ]
}

# mount_at FOLDER TYPE ro|rw DEVICE
mount_at() {
  release "$1" && mkdir -p "$1" || return
  case $2 in
  ext4) copy_ext4 "$4" "$1" ;;
  vfat) mcopy -s -n -m -i "$4" '::*' "$1/" </dev/null >/dev/null 2>&1 || has_fat "$4" ;;
  esac && echo "$4 $3" >"$1.mounted"
}

# copy_ext4 IMAGE FOLDER: copies all files. Fails only when the image has no ext4 file system: debugfs does not report
# errors in its exit status, and without root prints errors for successful copies.
copy_ext4() {
  dumpe2fs -h "$1" >/dev/null 2>&1 || return
  debugfs -R "rdump / $2" "$1" >/dev/null 2>&1
  rmdir "$2/lost+found" 2>/dev/null || true
}

# has_fat IMAGE: succeeds when the image has a FAT file system. mcopy also fails on a file system without files.
has_fat() {
  mdir -f -b -i "$1" :: </dev/null >/dev/null 2>&1
}

# attach FOLDER PATH: copies a folder of a mounted file system to PATH, an empty folder. `release` undoes this.
attach() {
  cp -a "$1/." "$2/" && echo "$1 ro" >"$2.mounted"
}

# unmount FOLDER
unmount() {
  is_mounted "$1" || return 0
  read -r image access <"$1.mounted"
  [ "$access" = ro ] || write_image "$image" "$1" || return
  release "$1"
}

# sync -f FOLDER: if FOLDER is mounted for writing, makes a new image of its files.
sync() {
  read -r image access <"$2.mounted" && { [ "$access" = ro ] || write_image "$image" "$2"; }
}

# is_writable IMAGE: fails when the owner has no write permission for the image, even if the script runs as root.
is_writable() {
  case $(stat -c %A "$1") in
  ??w*) ;;
  *) return 1 ;;
  esac
}

# mke2fs [ARGUMENT...] IMAGE: fails when the image is read-only.
mke2fs() {
  for created; do :; done
  is_writable "$created" && command mke2fs "$@"
}

# write_image IMAGE FOLDER: replaces the image with a new image of the files in FOLDER. Fails when the image is
# read-only, when the files do not fit, or, to simulate a worn memory, when they need more than usable_kib KiB (0 for no
# limit).
write_image() {
  is_writable "$1" || return
  [ "$usable_kib" -eq 0 ] || [ "$(du -sk --apparent-size "$2" | cut -f 1)" -le "$usable_kib" ] || return
  cp --sparse=always "$1" "$1.new" && make_file_system "$1.new" -d "$2" && mv "$1.new" "$1" && return
  rm -f "$1.new"
  return 1
}

# release FOLDER: unmounts the folder and discards changes that have not been written. Removes the folder last: if rm is
# killed, the next call removes the rest.
release() {
  [ ! -e "$1" ] || rm -rf "$1.mounted" "$1"
}

# same_device DEVICE DEVICE
same_device() {
  [ "$1" = "$2" ]
}

# device_size DEVICE: prints the size in bytes.
device_size() {
  stat -c %s "$1"
}

# sector_size DEVICE: prints the size in bytes.
sector_size() {
  echo 512
}

# mount_point_of DEVICE: always fails, because no other program mounts an image.
mount_point_of() {
  return 1
}

# require_free DEVICE
require_free() {
  is_device "$1" || fail 1 "$1 does not exist"
}

# Replaces the function of common.sh: while the FIFO script-steps exists, waits after each progress line until the
# simulator has passed the line to the updater.
show() {
  printf 'SHOW: %s\n' "$1"
  [ ! -p script-steps ] || read -r _ <script-steps
}
