#!/bin/bash
# Creates SD cards with a Debian system for the emulated board, and the initramfs that starts the system.
# Usage: make_system.sh BOARD_PACKAGES STAGE RECOVERY UPDATER_PACKAGES CACHE OUT   (needs root)
#   BOARD_PACKAGES     the output of tests/board/fetch_packages.sh
#   STAGE              the output of tests/board/make_board.sh
#   RECOVERY           the recovery image; the system uses the same drivers
#   UPDATER_PACKAGES   the folder of the packages to test
#   CACHE              the folder in which the base system is kept
# Replaces OUT with a folder that contains:
#   initramfs       mounts the second partition of the card and starts systemd
#   new.img         a card with the system; the packages are in /srv/packages, newer ones in /srv/packages/next
#   installed.img   the same system, with the packages installed while systemd was not running
# Both cards have the partitions of the card in STAGE, except the second, which contains the system.
set -euo pipefail
shopt -s inherit_errexit
export LC_ALL=C
umask 022

fail() {
    printf 'make_system.sh: %s\n' "$1" >&2
    exit 1
}

[[ $# -eq 6 ]] || fail "usage: make_system.sh BOARD_PACKAGES STAGE RECOVERY UPDATER_PACKAGES CACHE OUT"
[[ $EUID -eq 0 ]] || fail "needs root"
mkdir -p "$5" "$(dirname -- "$6")"
here=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")")
board_packages=$(realpath -- "$1") stage=$(realpath -- "$2") recovery=$(realpath -- "$3")
updater_packages=$(realpath -- "$4") base=$(realpath -- "$5")/systemd out=$(realpath -m -- "$6")
kernel=$(cat "$board_packages/kernel_version")
readonly here board_packages stage recovery updater_packages base out kernel
# shellcheck source-path=SCRIPTDIR source=../support/arm64.sh
. "$here/../support/arm64.sh"

# The packages of the system, and the dependencies of the updater's packages.
readonly base_packages=(systemd-sysv udev kmod libstdc++6 openssl zstd e2fsprogs mount)

# Units that delay the boot on the emulated processor and that the updater does not need.
readonly masked_units=(
    getty@tty1.service getty-static.service serial-getty@ttyAMA0.service apt-daily.timer apt-daily-upgrade.timer dpkg-db-backup.timer
    e2scrub_all.timer e2scrub_reap.service fstrim.timer systemd-pstore.service systemd-timesyncd.service
    dev-hugepages.mount dev-mqueue.mount sys-{kernel-debug,kernel-tracing,kernel-config,fs-fuse-connections}.mount
)

install_modules() {
    local source=$board_packages/board/lib/modules/$kernel target=$system/usr/lib/modules/$kernel
    mkdir -p "$target"
    install -m 644 -t "$target" "$unpacked_recovery/lib/modules/$kernel"/*.ko
    install -m 644 -t "$target" "$source"/{modules.builtin{,.modinfo},kernel/drivers/input/misc/uinput.ko}
    in_arm64 "$system" depmod "$kernel"
}

# The encoder and the console of the emulated board.
install_controls() {
    local services=$system/etc/systemd/system
    install -m 755 -t "$system/usr/local/sbin" "$here/board-console" "$here/board-encoder"
    aarch64-linux-gnu-g++ -std=c++20 -O1 -Wall -Wextra -Werror -static -s "$here/../board/knob.cpp" \
        -o "$system/usr/local/sbin/knob"
    install -m 644 -t "$services" "$here"/board-{console,encoder}.service
    mkdir -p "$services"/{multi-user,sysinit}.target.wants
    ln -s ../board-console.service "$services/multi-user.target.wants/"
    ln -s ../board-encoder.service "$services/sysinit.target.wants/"
}

# Configures the system as if it had been booted before: it has a machine ID, and /etc and /var are marked as updated.
# Without package lists, apt considers only the installed packages, and takes seconds instead of minutes.
configure() {
    local unit
    rm -rf "$system"/var/lib/apt/lists/*
    echo force-unsafe-io >"$system/etc/dpkg/dpkg.cfg.d/board"
    echo tonecrate >"$system/etc/hostname"
    echo 0123456789abcdef0123456789abcdef >"$system/etc/machine-id"
    for unit in "${masked_units[@]}"; do
        ln -sf /dev/null "$system/etc/systemd/system/$unit"
    done
    install -D -m 644 -t "$system/etc/tonecrate" "$stage/keys/signing.pub"
    install -D -m 600 -t "$system/etc/tonecrate" "$stage/keys/firmware.key"
    touch "$system"/{etc,var}/.updated
}

# add_packages FOLDER: copies the packages to FOLDER. Builds packages with the same files and a higher version in
# FOLDER/next.
add_packages() {
    local package content=$work/content
    mkdir -p "$1/next"
    for package in "$updater_packages"/tonecrate-updater{,-scripts}_*.deb; do
        cp "$package" "$1/"
        rm -rf "$content"
        dpkg-deb --raw-extract "$package" "$content"
        sed -i 's/^Version: .*/&+next/' "$content/DEBIAN/control"
        dpkg-deb --root-owner-group --build "$content" "$1/next/" >/dev/null
    done
}

# make_card FILE: copies the card of STAGE, moves its second partition behind the others, enlarges it, and fills it with
# the system. The emulator requires a card size that is a power of two.
make_card() {
    cp --sparse=always "$stage/card.img" "$1"
    truncate -s 1G "$1"
    sfdisk -q --no-reread -N 2 "$1" <<<'start=64MiB, size=960MiB'
    mke2fs -q -t ext4 -d "$system" -E offset=$((64 << 20)) "$1" 960m
}

make_initramfs() {
    local root=$work/initramfs
    mkdir -p "$root"/{lib/modules,system}
    install -m 755 "$here/initramfs-init" "$root/init"
    install -D -m 755 -t "$root/bin" "$unpacked_recovery/bin/busybox"
    cp -R "$system/usr/lib/modules/$kernel" "$root/lib/modules/"
    (cd "$root" && find . -mindepth 1 | cpio --quiet -o -H newc --owner 0:0) >"$work/out/initramfs"
}

work=$(mktemp -d -- "$out.XXXXXX")
trap 'end_namespace; rm -rf --one-file-system -- "$work"' EXIT
system=$work/system unpacked_recovery=$work/recovery
mkdir "$work/out" "$unpacked_recovery"
(cd "$unpacked_recovery" && gzip -dc "$recovery" | cpio --quiet -i -d)
start_namespace
make_arm64_base "$base" "${base_packages[@]}"
cp -a "$base" "$system"
install_modules
install_controls
configure
add_packages "$system/srv/packages"
make_initramfs
make_card "$work/out/new.img"
in_arm64 "$system" sh -c 'apt-get --yes install /srv/packages/*.deb'
make_card "$work/out/installed.img"
rm -rf -- "$out"
mv -- "$work/out" "$out"
