#!/bin/bash
# Tests the recovery image, and the options of the script that builds it.
# Usage: recovery_image_file_test.sh BUILD   (BUILD contains the output of `./dev package --recovery` and make_board.sh)
set -uo pipefail

build=$(realpath -- "$1")
repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly build repository work
readonly image=$build/device-static/tonecrate-recovery.cpio.gz
readonly updater=$build/device-static/app/tonecrate-updater packages=$build/board_packages
trap 'rm -rf -- "$work"' EXIT
cd "$work" || exit 1
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$repository/tests/support/cases.sh"
SOURCE_DATE_EPOCH=$(git -C "$repository" log -1 --format=%ct)
export SOURCE_DATE_EPOCH

# make_image [OPTION...] OUT
make_image() {
  "$repository/packaging/recovery/make_image.sh" "${@:1:$#-1}" "$packages" "$updater" "${!#}"
}

# files IMAGE: lists mode, owner, group and name.
files() {
  gzip -dc "$1" | cpio --quiet -itvn | awk '{print $1, $3, $4, $9}'
}

# rejects MESSAGE OPTION...: make_image.sh fails, prints one line that contains MESSAGE, and creates no file.
rejects() {
  if make_image "${@:2}" rejected 2>message; then return 1; fi
  cat message
  [[ $(cat message) == "make_image.sh: "*"$1"* && $(wc -l <message) -eq 1 ]]
  [[ -z $(find . -name 'rejected*') ]]
}

is_reproducible() {
  umask 077
  cp "$updater" . # a different modification time and mode
  TZ=Asia/Tokyo LC_ALL=C.UTF-8 "$repository/packaging/recovery/make_image.sh" "$packages" tonecrate-updater again
  cmp again "$image"
}

# The modules are not compared, because they depend on the kernel.
contains_only_needed_files() {
  files "$image" | sed '/ lib\/modules\/./d' >listing
  diff listing - <<'LISTING'
drwxr-xr-x 0 0 bin
-rwxr-xr-x 0 0 bin/busybox
drwxr-xr-x 0 0 etc
-rw-r--r-- 0 0 etc/mke2fs.conf
-rwxr-xr-x 0 0 init
drwxr-xr-x 0 0 lib
-rwxr-xr-x 0 0 lib/ld-linux-aarch64.so.1
-rwxr-xr-x 0 0 lib/libblkid.so.1
-rwxr-xr-x 0 0 lib/libc.so.6
-rwxr-xr-x 0 0 lib/libcom_err.so.2
-rwxr-xr-x 0 0 lib/libcrypto.so.3
-rwxr-xr-x 0 0 lib/libe2p.so.2
-rwxr-xr-x 0 0 lib/libext2fs.so.2
-rwxr-xr-x 0 0 lib/liblz4.so.1
-rwxr-xr-x 0 0 lib/liblzma.so.5
-rwxr-xr-x 0 0 lib/libssl.so.3
-rwxr-xr-x 0 0 lib/libuuid.so.1
-rwxr-xr-x 0 0 lib/libz.so.1
drwxr-xr-x 0 0 lib/modules
drwxr-xr-x 0 0 sbin
-rwxr-xr-x 0 0 sbin/dumpe2fs
-rwxr-xr-x 0 0 sbin/e2fsck
-rwxr-xr-x 0 0 sbin/mke2fs
drwxr-xr-x 0 0 usr
drwxr-xr-x 0 0 usr/bin
-rwxr-xr-x 0 0 usr/bin/flock
-rwxr-xr-x 0 0 usr/bin/openssl
-rwxr-xr-x 0 0 usr/bin/zstd
drwxr-xr-x 0 0 usr/lib
drwxr-xr-x 0 0 usr/lib/tonecrate
-rw-r--r-- 0 0 usr/lib/tonecrate/common.sh
-rw-r--r-- 0 0 usr/lib/tonecrate/container.sh
-rw-r--r-- 0 0 usr/lib/tonecrate/partitions.sh
drwxr-xr-x 0 0 usr/sbin
-rwxr-xr-x 0 0 usr/sbin/decrypt.sh
-rwxr-xr-x 0 0 usr/sbin/format.sh
-rwxr-xr-x 0 0 usr/sbin/install.sh
-rwxr-xr-x 0 0 usr/sbin/tonecrate-updater
LISTING
}

board_boots_this_image() {
  cmp "$image" "$build/board_stage/recovery.cpio.gz"
  cmp -n "$(gzip -dc "$image" | wc -c)" <(gzip -dc "$image") "$build/board_stage/initramfs"
}

# Compresses the modules of the image with gzip, xz and zstd in turn.
compressed_modules_are_unpacked() {
  local version source name count=0
  version=$(cat "$packages/kernel_version")
  source=$packages/board/lib/modules/$version
  mkdir "$version"
  cp "$source/modules.builtin" "$version/"
  while read -r name; do
    find "$source" -name "$name" -exec cp {} "$version/" \;
    case $((count++ % 3)) in
    0) gzip "$version/$name" ;;
    1) xz -1 "$version/$name" ;;
    2) zstd -q --rm "$version/$name" ;;
    esac
  done < <(gzip -dc "$image" | cpio --quiet -t | sed -n 's|.*/\(.*\.ko\)$|\1|p')
  [[ $count -gt 30 ]]
  make_image --modules "$version" image
  cmp image "$image"
}

kernel_without_modules() {
  make_image --modules none image
  files image >listing
  [[ $(grep -c modules listing) -eq 0 ]]
}

missing_driver_is_rejected() {
  mkdir -p 6.0.0/kernel
  echo kernel/drivers/spi/spidev.ko >6.0.0/modules.builtin
  rejects "no module spi-bcm2835 in $PWD/6.0.0" --modules 6.0.0
}

settings_are_added() {
  mkdir settings
  cp "$repository/packaging/scripts/updater.conf" settings/
  printf '#!/bin/sh\n' >settings/prepare.sh
  chmod +x settings/prepare.sh
  make_image --modules none --settings settings image
  files image | grep ' etc/tonecrate' | diff - <(printf '%s\n' 'drwxr-xr-x 0 0 etc/tonecrate' \
    '-rwx------ 0 0 etc/tonecrate/prepare.sh' '-rw------- 0 0 etc/tonecrate/updater.conf')
}

private_keys_are_rejected() {
  mkdir settings
  cp "$repository/packaging/scripts/updater.conf" settings/
  openssl genpkey -algorithm ed25519 -out settings/signing.key
  rejects "a private key in $PWD/settings" --settings settings
}

# Each case has its own folder.
around_case() {
  mkdir case
  cd case || return
  "$@"
}

# next_case SENTENCE COMMAND...
next_case() {
  it "$@"
  rm -rf case
}

next_case "a second build gives the same bytes, whatever the time zone, the umask and the files' times" is_reproducible
next_case "the image contains only what the updater and the scripts need, owned by root" contains_only_needed_files
next_case "the emulated board's initramfs begins with this image" board_boots_this_image
next_case "compressed modules give the same image" compressed_modules_are_unpacked
next_case "with --modules none, the image contains no modules" kernel_without_modules
next_case "kernel modules without a required driver are rejected" missing_driver_is_rejected
next_case "a folder without modules is rejected" rejects "/sys is not a folder of kernel modules" --modules /sys
next_case "settings are added and are readable only by root" settings_are_added
next_case "settings without updater.conf are rejected" rejects "no updater.conf in /sys" --settings /sys
next_case "private keys are rejected" private_keys_are_rejected
next_case "a missing folder is rejected" rejects "no such file: missing" --modules missing
next_case "an unknown option is rejected" rejects "usage: " --unknown value
finish
