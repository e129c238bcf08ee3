#!/bin/bash
# Creates the boot files, SD card, USB drives and device trees of the emulated board.
# Usage: make_board.sh PACKAGES RECOVERY OUT
# PACKAGES is the output of fetch_packages.sh, RECOVERY the recovery image. Replaces OUT with a folder that contains:
#   emulator                            a script that runs QEMU
#   kernel, *.dtb                       the boot files
#   recovery.cpio.gz                    RECOVERY
#   initramfs                           RECOVERY, uncompressed, followed by the tests' own files
#   card.img                            the SD card: firmware 1.4.2 and the user's presets on the third partition
#   firmware/, presets/                 the files that an update installs, and the files that it keeps
#   keys/                               the keys of the firmware files
#   drive*.img                          USB drives
set -euo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin # an ordinary user's PATH lacks the file system tools

fail() {
    printf 'make_board.sh: %s\n' "$1" >&2
    exit 1
}

[[ $# -eq 3 ]] || fail "usage: make_board.sh PACKAGES RECOVERY OUT"
packages=$(realpath -- "$1") recovery=$(realpath -- "$2") out=$(realpath -m -- "$3")
here=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")")
project=$(realpath -- "$here/../..")
kernel=$(cat "$packages/kernel_version")
readonly packages recovery out here project kernel
readonly sim=$project/sim packaging=$project/packaging

# The programs and drivers that simulate I/O errors; dm-mod contains the target `error`.
install_error_simulation() {
    local root=$1 modules=lib/modules/$kernel board=$packages/board
    install -m 755 -t "$root/usr/sbin" "$here/io_errors.sh" "$board"/{sbin/dmsetup,usr/sbin/filefrag}
    install -D -m 755 -t "$root/lib" "$board"/lib/aarch64-linux-gnu/lib{devmapper.so.1.02.1,selinux.so.1,m.so.6} \
        "$board"/usr/lib/aarch64-linux-gnu/lib{pcre2-8.so.0,udev.so.1}
    install -m 644 -t "$root/$modules" "$board/$modules"/kernel/drivers/{block/brd,dax/dax,md/dm-mod,md/dm-flakey}.ko
}

# Appends the tests' own files to the recovery image: the settings and keys, the program and the driver of the simulated
# encoder, the hook that starts the encoder and executes commands from the console, and the simulation of I/O errors.
make_initramfs() {
    local root=$work/root modules=lib/modules/$kernel
    install -D -m 644 -t "$root/etc/tonecrate" "$packaging/scripts/updater.conf" "$work"/out/keys/{signing.pub,firmware.key}
    install -D -m 755 -t "$root/etc/tonecrate" "$here/prepare.sh"
    install -D -m 644 -t "$root/$modules" "$packages/board/$modules/kernel/drivers/input/misc/uinput.ko"
    mkdir -p "$root/usr/sbin"
    aarch64-linux-gnu-g++ -std=c++20 -O1 -Wall -Wextra -Werror -static -s "$here/knob.cpp" -o "$root/usr/sbin/knob"
    install_error_simulation "$root"
    cp "$recovery" "$work/out/recovery.cpio.gz"
    # Uncompressed, because the emulated processor is slow.
    { gzip -dc "$recovery" && (cd "$root" && find . -mindepth 1 | cpio --quiet -o -H newc --owner 0:0); } \
        >"$work/out/initramfs"
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
    fdtput -p -t "$2" "$1" "$3" "$4" "${@:5}"
}

# make_device_tree FILE: the kernel's device tree for the Raspberry Pi 4 with the updater's overlay, and without the
# devices that the emulator lacks, because each of these stops the kernel.
make_device_tree() {
    local tree=$1 node
    install -m 644 "$packages/board/usr/lib/linux-image-$kernel/broadcom/bcm2711-rpi-4-b.dtb" "$tree"
    set_property "$tree" s /__symbols__ gpio /soc/gpio@7e200000 # Debian's trees contain no symbols
    dtc -q -@ -I dts -O dtb "$packaging/tonecrate-overlay.dts" | fdtoverlay -i "$tree" -o "$tree.applied" -
    mv -- "$tree.applied" "$tree"

    for node in interrupt-controller@7ef00100 clock@7ef00000 i2c@7ef04500 i2c@7ef09500 hdmi@7ef00700 hdmi@7ef05700 \
        i2c@7e205000 serial@7e215040; do
        set_property "$tree" s "/soc/$node" status disabled
    done
    fdtput -r "$tree" /soc/serial@7e201000/bluetooth
    set_property "$tree" s /soc/usb@7e980000 dr_mode host

    # A slow default, so that the tests observe the clock that the program selects.
    set_property "$tree" i /soc/spi@7e204000/display@0 spi-max-frequency 1000000

    # The emulator connects its SD card to the controller that serves the wireless chip on the real board.
    set_property "$tree" s /emmc2bus/mmc@7e340000 status disabled
    set_property "$tree" s /soc/mmc@7e300000 status okay
    fdtput -d "$tree" /soc/mmc@7e300000 mmc-pwrseq
}

# The emulator does not connect the I2C controller's interrupt, so with `unwired` every transfer times out, as on a bus
# that hangs. `wired` uses the interrupt of the USB controller, which occurs continually. `without_i2c` has no I2C
# controller.
make_device_trees() {
    local folder=$work/out
    make_device_tree "$folder/unwired.dtb"
    cp "$folder/unwired.dtb" "$folder/wired.dtb"
    set_property "$folder/wired.dtb" x /soc/i2c@7e804000 interrupts 0 49 4
    cp "$folder/wired.dtb" "$folder/without_i2c.dtb"
    set_property "$folder/without_i2c.dtb" s /soc/i2c@7e804000 status disabled
}

# Creates four partitions; updater.conf names the third (memory) and the fourth (backup). The emulator requires a card
# size that is a power of two.
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
    "$project/packaging/maker/tonecrate-pack-firmware" "$sim/firmware" 2.0.0 "$work/out/keys" "$firmware"
    cp -R "$sim/firmware" "$work/out/firmware"
    "$sim/scripts/make_drive.sh" "$work/out/drive.img" "$firmware"
    "$sim/scripts/make_drive.sh" --no-partition "$work/out/drive_without_table.img" "$firmware"
    "$sim/scripts/make_drive.sh" "$work/out/drive_without_firmware.img" "$project/README.md"
    printf 'X' | dd of="$firmware" bs=1 seek=1000 conv=notrunc status=none
    "$sim/scripts/make_drive.sh" "$work/out/drive_with_corrupt_firmware.img" "$firmware"
}

[[ -f $recovery ]] || fail "no such file: $recovery"
mkdir -p "$(dirname -- "$out")"
work=$(mktemp -d -- "$out.XXXXXX")
trap 'rm -rf -- "$work"' EXIT
mkdir "$work/out"
"$project/packaging/maker/tonecrate-make-keys" "$work/out/keys"
make_emulator
make_initramfs
make_device_trees
make_card
make_drives
rm -rf -- "$out"
mv -- "$work/out" "$out"
