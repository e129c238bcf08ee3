#!/bin/bash
# Creates the boot files, SD card, USB drives and device trees of the emulated board.
# Usage: make_board.sh PACKAGES UPDATER OUT
# PACKAGES is the output of fetch_packages.sh, UPDATER the static program for the device. Replaces OUT by a folder with:
#   emulator                            a script that runs QEMU
#   kernel, initramfs, *.dtb            the boot files
#   card.img                            the SD card: firmware 1.4.2 and the user's presets on the third partition
#   firmware/, presets/                 the files that an update installs, and the files that it keeps
#   *.img                               USB drives
set -euo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin # an ordinary user's PATH lacks the file system tools

fail() {
    printf 'make_board.sh: %s\n' "$1" >&2
    exit 1
}

[[ $# -eq 3 ]] || fail "usage: make_board.sh PACKAGES UPDATER OUT"
packages=$(realpath -- "$1") updater=$(realpath -- "$2") out=$(realpath -m -- "$3")
here=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")")
project=$(realpath -- "$here/../..")
kernel=$(cat "$packages/kernel_version")
readonly packages updater out here project kernel
readonly sim=$project/sim scripts=$project/packaging/scripts

readonly modules=(
    drivers/spi/spi-bcm2835 drivers/i2c/i2c-dev drivers/i2c/busses/i2c-bcm2835
    drivers/input/evdev drivers/input/misc/uinput
    drivers/usb/common/usb-common drivers/usb/core/usbcore drivers/usb/roles/roles drivers/usb/gadget/udc/udc-core
    drivers/usb/phy/phy-generic drivers/usb/dwc2/dwc2
    drivers/scsi/scsi_common drivers/scsi/scsi_mod drivers/usb/storage/usb-storage
    crypto/crct10dif_common crypto/crct10dif_generic lib/crc-t10dif lib/crc64 lib/crc64-rocksoft block/t10-pi
    drivers/scsi/sd_mod
    fs/fat/fat fs/fat/vfat fs/nls/nls_ascii fs/nls/nls_cp437
    drivers/mmc/host/sdhci drivers/mmc/host/sdhci-pltfm drivers/mmc/host/sdhci-iproc
    lib/crc16 fs/mbcache fs/jbd2/jbd2 crypto/crc32c_generic lib/libcrc32c fs/ext4/ext4
)

# The scripts' tools besides BusyBox, and their libraries.
readonly tools=(usr/bin/openssl usr/bin/flock sbin/mke2fs sbin/dumpe2fs sbin/e2fsck etc/mke2fs.conf)
readonly libraries=(ld-linux-aarch64.so.1 lib{c,ssl,crypto,ext2fs,blkid,com_err,e2p,uuid}.so.[0-9])

install_programs() {
    install -D -t "$root/bin" "$packages/board/bin/busybox"
    install -D "$here/init" "$root/init"
    install -D -t "$root/usr/sbin" "$updater" "$scripts"/{decrypt,format,install}.sh
    aarch64-linux-gnu-g++ -std=c++20 -O1 -Wall -Wextra -Werror -static -s "$here/knob.cpp" -o "$root/usr/sbin/knob"
    install -D -m 644 -t "$root/usr/lib/tonecrate" "$scripts"/{common,container,partitions}.sh
    install -D -m 644 -t "$root/etc/tonecrate" "$scripts/updater.conf" "$work"/keys/{signing.pub,firmware.key}
}

install_tools() {
    local name found
    for name in "${tools[@]}"; do
        install -D "$packages/board/$name" "$root/$name"
    done
    mkdir -p "$root/lib"
    for name in "${libraries[@]}"; do
        found=$(find "$packages/board" -path "*/aarch64-linux-gnu/$name" | head -n 1)
        [[ -n $found ]] || fail "the packages do not contain $name"
        cp -L "$found" "$root/lib/"
    done
}

install_modules() {
    local module
    mkdir -p "$root/lib/modules"
    for module in "${modules[@]}"; do
        cp "$packages/board/lib/modules/$kernel/kernel/$module.ko" "$root/lib/modules/"
        printf '%s\n' "${module##*/}"
    done >"$root/lib/modules/order"
}

# Not compressed, because decompression on the emulated processor takes longer than reading the file.
make_initramfs() {
    root=$work/root
    install_programs
    install_tools
    install_modules
    (cd "$root" && find . | cpio --quiet -o -H newc --owner 0:0) >"$work/out/initramfs"
}

# The emulator is unpacked, not installed, so it needs the path of its libraries.
make_emulator() {
    cat >"$work/out/emulator" <<END
#!/bin/sh
LD_LIBRARY_PATH="$(printf '%s:' "$packages"/emulator{/usr,}/lib/*-linux-gnu)" \\
    exec "$packages/emulator/usr/bin/qemu-system-aarch64" "\$@"
END
    chmod +x "$work/out/emulator"
    cp "$packages/board/boot/vmlinuz-$kernel" "$work/out/kernel"
}

# set_property FILE TYPE NODE PROPERTY VALUE...
set_property() {
    fdtput -t "$2" "$1" "$3" "$4" "${@:5}"
}

# make_device_tree FILE: the kernel's device tree for the Raspberry Pi 4 with the updater's devices, and without
# the devices that the emulator lacks, because each of these stops the kernel.
make_device_tree() {
    local tree=$1 node panel=/soc/spi@7e204000/panel@0
    install -m 644 "$packages/board/usr/lib/linux-image-$kernel/broadcom/bcm2711-rpi-4-b.dtb" "$tree"
    for node in interrupt-controller@7ef00100 clock@7ef00000 i2c@7ef04500 i2c@7ef09500 hdmi@7ef00700 hdmi@7ef05700 \
        i2c@7e205000 serial@7e215040; do
        set_property "$tree" s "/soc/$node" status disabled
    done
    fdtput -r "$tree" /soc/serial@7e201000/bluetooth

    set_property "$tree" s /soc/spi@7e204000 status okay
    set_property "$tree" s /aliases spi0 /soc/spi@7e204000
    fdtput -c "$tree" "$panel"
    set_property "$tree" s "$panel" compatible rohm,dh2228fv # spidev binds to this name
    set_property "$tree" x "$panel" reg 0
    set_property "$tree" i "$panel" spi-max-frequency 125000000
    set_property "$tree" s /aliases i2c22 /soc/i2c@7e804000
    set_property "$tree" s /soc/usb@7e980000 dr_mode host

    # The emulator connects its SD card to the controller that serves the wireless chip on the real board.
    set_property "$tree" s /emmc2bus/mmc@7e340000 status disabled
    set_property "$tree" s /soc/mmc@7e300000 status okay
    fdtput -d "$tree" /soc/mmc@7e300000 mmc-pwrseq
}

# The emulator does not connect the I2C controller's interrupt. `wired` uses the interrupt of the USB controller, which
# occurs continually; without an interrupt every transfer times out, as on a bus that hangs.
make_device_trees() {
    make_device_tree "$work/out/unwired.dtb"
    cp "$work/out/unwired.dtb" "$work/out/wired.dtb"
    set_property "$work/out/wired.dtb" x /soc/i2c@7e804000 interrupts 0 49 4
}

# Creates the partitions that updater.conf names. The emulator requires a card size that is a power of two.
make_card() {
    local content=$work/content
    mkdir "$content"
    cp -R "$sim/scripts/user_presets" "$content/presets"
    mkdir "$content/firmware"
    printf 'Tonecrate\nturn and push\n' >"$content/firmware/greeting.txt"
    echo 1.4.2 >"$content/version.txt"
    truncate -s 64M "$work/out/card.img"
    sfdisk -q "$work/out/card.img" <<<'
        start=1MiB, size=1MiB
        start=2MiB, size=1MiB
        start=8MiB, size=24MiB
        start=32MiB, size=24MiB'
    mke2fs -q -t ext4 -d "$content" -E offset=$((8 << 20)) "$work/out/card.img" 24m
    mv "$content/presets" "$work/out/presets"
}

make_drives() {
    local firmware=$work/tonecrate.fw
    "$project/packaging/maker/tonecrate-pack-firmware" "$sim/firmware" 2.0.0 "$work/keys" "$firmware"
    cp -R "$sim/firmware" "$work/out/firmware"
    "$sim/scripts/make_drive.sh" "$work/out/drive.img" "$firmware"
    "$sim/scripts/make_drive.sh" --no-partition "$work/out/drive_without_table.img" "$firmware"
    "$sim/scripts/make_drive.sh" "$work/out/drive_without_firmware.img" "$project/README.md"
    printf 'X' | dd of="$firmware" bs=1 seek=1000 conv=notrunc status=none
    "$sim/scripts/make_drive.sh" "$work/out/drive_with_corrupt_firmware.img" "$firmware"
}

[[ -f $updater ]] || fail "no such file: $updater"
mkdir -p "$(dirname -- "$out")"
work=$(mktemp -d -- "$out.XXXXXX")
trap 'rm -rf -- "$work"' EXIT
mkdir "$work/out"
"$project/packaging/maker/tonecrate-make-keys" "$work/keys"
make_emulator
make_initramfs
make_device_trees
make_card
make_drives
rm -rf -- "$out"
mv -- "$work/out" "$out"
