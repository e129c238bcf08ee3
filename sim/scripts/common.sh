# Sourced by make_device.sh, make_drive.sh and verify_memory.sh: ext4 images, and the functions of errors.sh.
# shellcheck shell=bash

PATH=$PATH:/usr/sbin:/sbin # a normal user's PATH lacks the file system tools
# shellcheck source=../../packaging/maker/errors.sh
. "${BASH_SOURCE[0]%/*}/../../packaging/maker/errors.sh"

# make_file_system IMAGE KIB FOLDER: creates an ext4 image of KIB KiB with the content of FOLDER. Fails when the content
# does not fit.
make_file_system() {
  mke2fs -q -F -t ext4 -b 1024 -i 2048 -m 0 -d "$3" "$1" "$2k" </dev/null >/dev/null 2>&1
}

# read_memory IMAGE FOLDER PATH...: copies files and folders of an image into FOLDER and ignores missing ones.
# debugfs does not report errors in its exit status, and without root prints errors for successful copies, so callers
# compare the copies.
read_memory() {
  local image=$1 folder=$2 path
  shift 2
  for path in "$@"; do
    printf 'rdump "%s" "%s"\n' "$path" "$folder"
  done | debugfs -f /dev/stdin "$image" >/dev/null 2>&1 || true
}
