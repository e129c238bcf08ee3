#!/bin/sh
# Runs on the emulated board. The commands moment, place and unreadable run format.sh and install.sh while the memory or
# the backup has I/O errors, print OUTCOME and the script that fails, or "none", and then run both again without errors.
# The command drive only runs decrypt.sh. Fails and prints a reason if a script violates its contract, or if the errors
# cannot be simulated.
# Usage: io_errors.sh prepare                        the first command; the drive must be plugged in
#        io_errors.sh moment DEVICE NUMBER COUNT     DEVICE rejects the chosen write and all later writes
#        io_errors.sh place DEVICE NUMBER COUNT      DEVICE rejects writes to the sectors of the chosen write
#        io_errors.sh unreadable DEVICE FILE LINE    FILE on DEVICE has I/O errors from progress line LINE on
#        io_errors.sh drive PART STATUS              decrypt.sh must exit with STATUS if PART of the drive has errors
# DEVICE is memory or backup. NUMBER (from 0) chooses one of COUNT evenly distributed writes to DEVICE during an update;
# with moment, the errors begin with the shell command that causes this write. LINE is the beginning of the line. PART
# is boot_sector, table, folder, header or payload.
export LC_ALL=C PATH=/usr/sbin:/usr/bin:/sbin:/bin
export DM_DISABLE_UDEV=1 # so that dmsetup creates the device nodes
settings=/etc/tonecrate/updater.conf
work=/tmp/io_errors
seen=$work/seen     # a mount point
broken=$work/broken # exists when the errors have begun
trace=/sys/kernel/tracing

die() {
    printf '%s\n' "$*"
    exit 1
}

# Devices of the device mapper. They use RAM disks, because the emulated card and drive are slow.

# real DEVICE: prints the RAM disk.
real() {
    case $1 in
    memory) echo /dev/ram0 ;;
    backup) echo /dev/ram1 ;;
    drive) echo /dev/ram2 ;;
    esac
}

# size_of DEVICE: prints the size in sectors.
size_of() {
    case $1 in
    drive) echo 63488 ;;
    *) echo 49152 ;;
    esac
}

# part DEVICE FIRST END: prints the line of a device mapper table that maps the sectors from FIRST to END - 1 to the RAM
# disk; nothing if there are none.
part() {
    [ "$2" -eq "$3" ] || echo "$2 $(($3 - $2)) linear $(real "$1") $2"
}

# part_without_writes DEVICE FIRST END
part_without_writes() {
    echo "$2 $(($3 - $2)) flakey $(real "$1") $2 0 1000000 1 error_writes"
}

# part_with_errors DEVICE FIRST END
part_with_errors() {
    echo "$2 $(($3 - $2)) error"
}

# load_errors DEVICE KIND FIRST END: prepares a table in which part_KIND describes the sectors from FIRST to END - 1.
load_errors() {
    { part "$1" 0 "$3" && "part_$2" "$1" "$3" "$4" && part "$1" "$4" "$(size_of "$1")"; } | dmsetup load "$1"
}

# activate DEVICE: uses the prepared table. Does not wait for file systems, because they may be unable to write.
activate() {
    dmsetup resume --noflush --nolockfs "$1" || die "cannot change $1"
}

# Also removes the functions that a command has added to the settings.
remove_errors() {
    for device in memory backup drive; do
        part "$device" 0 "$(size_of "$device")" | dmsetup load "$device" && activate "$device"
    done
    cp $work/updater.conf $settings
}

# break_file DEVICE FILE: the first extent of the file can no longer be read or written.
break_file() {
    mount -t ext4 -o ro "/dev/mapper/$1" $seen || die "cannot mount $1"
    extent=$(filefrag -b512 -v "$seen/$2" | sed -n 's/^ *0: *[0-9.]* *[0-9]*: *\([0-9]*\)\.\. *\([0-9]*\):.*/\1 \2/p')
    umount $seen
    first=${extent% *} last=${extent#* }
    load_errors "$1" with_errors "$first" $((last + 1)) && activate "$1" && : >$broken
}

# Preparation.

load_drivers() {
    cd "/lib/modules/$(uname -r)" && insmod dax.ko && insmod dm-mod.ko && insmod dm-flakey.ko &&
        insmod brd.ko rd_nr=3 rd_size=32768 || exit
}

create_devices() {
    for device in memory backup drive; do
        part $device 0 "$(size_of $device)" | dmsetup create $device || die "cannot create $device"
        sed -i "s|^${device}_device=.*|${device}_device=/dev/mapper/$device|" $settings
    done
    cp $settings $work/
    { cp /dev/mmcblk0p3 /dev/mapper/memory && cp /dev/sda1 /dev/mapper/drive; } || die "cannot copy the card and the drive"
    echo fe980000.usb >/sys/bus/platform/drivers/dwc2/unbind # its interrupts need a fifth of the processor's time
}

# Copies the initial contents of the memory, and assembles the contents that an update must produce.
copy_contents() {
    { mount -t ext4 -o ro /dev/mapper/memory $seen && cp -a $seen $work/old && umount $seen; } ||
        die "cannot copy the memory"
    rm -r $work/old/lost+found
    decrypt.sh /dev/mapper/drive >$work/out || die "decrypt.sh fails"
    cp -a /tmp/fw $work/fw
    mkdir $work/new
    cp -a $work/fw/firmware $work/fw/version.txt $work/old/presets $work/new/
}

# Runs an update, and writes a list of its writes to each device to $work/writes.DEVICE. Each line contains the first
# sector, the number of sectors, and the number of the last command before the write (see before_commands).
observe_update() {
    renew
    mount -t tracefs tracefs $trace
    echo 1 >$trace/events/block/block_bio_queue/enable
    before_commands "echo \"command \$number\" >$trace/trace_marker"
    update
    echo 0 >$trace/events/block/block_bio_queue/enable
    [ -z "$failed" ] || die "an update without errors fails: $(cat $work/err)"
    for device in memory backup; do
        number=$(dmsetup info -c --noheadings --separator , -o major,minor $device)
        sed -n "s/.*tracing_mark_write: //p; s/.*: $number F*W[A-Z]* \([0-9]*\) + \([1-9][0-9]*\) .*/\1 \2/p" $trace/trace |
            awk '$1 == "command" { command = $2; next } { print $0, command }' >$work/writes.$device
    done
}

# Updates.

# Removes all errors, restores the initial contents of the memory, and empties the backup.
renew() {
    remove_errors
    rm -f $broken $work/out
    { /sbin/mke2fs -q -F -t ext4 -d $work/old /dev/mapper/memory && /sbin/mke2fs -q -F -t ext4 /dev/mapper/backup; } \
        >/dev/null || die "cannot create the file systems"
}

# before_commands ACTION: an update runs ACTION before every command that may change a device. $number counts these
# commands, from 0. The scripts source the settings, so functions in the settings replace the commands.
before_commands() {
    echo 0 >$work/count
    {
        echo "count() { read -r number <$work/count; echo \$((number + 1)) >$work/count; $1; }"
        echo 'make_ext4() { count; /sbin/mke2fs "$@"; }'
        echo 'mke2fs=make_ext4'
        for command in chmod cp e2fsck mkdir mount mv rm sync umount; do
            echo "$command() { count; command $command \"\$@\"; }"
        done
    } >>$settings
}

# on_line PREFIX COMMAND: an update runs COMMAND after each progress line that starts with PREFIX. The scripts define
# `show` before they source the settings, so the settings can replace it.
on_line() {
    echo "show() { echo \"SHOW: \$1\"; case \$1 in '$1'*) $2 ;; esac; }" >>$settings
}

# update: sets `failed` to the script that fails; empty if the update succeeds.
update() {
    rm -rf /tmp/fw
    cp -a $work/fw /tmp/
    failed=
    run format.sh 0 && run install.sh
}

# run SCRIPT [ARGUMENT...]: requires that the script leaves no mount, and exits with status 0, or with 1 and a reason.
run() {
    "$@" >>$work/out 2>$work/err
    status=$?
    ! grep tonecrate/ /proc/mounts || die "$1 leaves a mount"
    [ "$status" -ne 0 ] || return 0
    failed=$1
    { [ "$status" -eq 1 ] && grep -q "^$1: " $work/err; } || die "$1 exits with status $status: $(cat $work/err)"
    return 1
}

# expect_memory FOLDER: requires an undamaged file system on the memory, with exactly the files in FOLDER.
expect_memory() {
    report=$(e2fsck -fn /dev/mapper/memory 2>&1) || die "the memory is damaged: $report"
    mount -t ext4 -o ro /dev/mapper/memory $seen || die "the memory cannot be mounted"
    difference=$(diff -r "$1" $seen | grep -v 'lost+found$')
    umount $seen
    [ -z "$difference" ] || die "the content of the memory is wrong: $difference"
}

expect_no_backup() {
    mount -t ext4 -o ro /dev/mapper/backup $seen || die "the backup cannot be mounted"
    [ ! -e $seen/complete ] || die "the backup was not removed"
    umount $seen
}

# Updates with errors, then without errors. After a successful update, the memory must contain exactly the files in
# $work/new. An update that fails before it formats the memory must not change the files on the memory.
update_twice() {
    update
    [ -e $broken ] || die "the I/O errors did not begin"
    echo "OUTCOME ${failed:-none}"
    cat $work/err
    remove_errors
    if [ -z "$failed" ]; then
        expect_memory $work/new
    elif ! grep -q Formatting $work/out; then
        expect_memory $work/old
    fi
    update
    [ -z "$failed" ] || die "the next update fails: $(cat $work/err)"
    expect_memory $work/new
    expect_no_backup
}

# The commands.

# chosen_write DEVICE NUMBER COUNT: divides the writes into COUNT parts, and prints the line of the write in the middle
# of part NUMBER.
chosen_write() {
    writes=$(wc -l <"$work/writes.$1")
    sed -n "$((1 + writes * (2 * $2 + 1) / (2 * $3)))p" "$work/writes.$1"
}

prepare() {
    mkdir -p $seen
    load_drivers
    create_devices
    copy_contents
    observe_update
    : >$work/prepared
    wc -l $work/writes.*
}

moment() {
    renew
    # shellcheck disable=SC2046 # three words
    set -- "$1" $(chosen_write "$@")
    load_errors "$1" without_writes 0 "$(size_of "$1")"
    before_commands "[ \$number -ne $4 ] || { dmsetup resume --noflush --nolockfs $1; : >$broken; }"
    update_twice
}

place() {
    renew
    # shellcheck disable=SC2046 # three words
    set -- "$1" $(chosen_write "$@")
    load_errors "$1" without_writes "$2" $(($2 + $3)) && activate "$1" && : >$broken
    update_twice
}

unreadable() {
    renew
    on_line "$3" "io_errors.sh break_file $1 $2"
    update_twice
}

# number OFFSET SIZE: prints the unsigned number that occupies SIZE bytes at OFFSET in the drive's boot sector.
number() {
    od -A n -t "u$2" -j "$1" -N "$2" /dev/ram2 | tr -d ' '
}

# The firmware is the first file on the drive.
drive() {
    remove_errors
    table=$(number 14 2)
    folder=$((table + $(number 16 1) * $(number 22 2)))
    file=$((folder + $(number 17 2) / 16))
    case $1 in
    boot_sector) set -- 0 1 "$2" ;;
    table) set -- "$table" "$folder" "$2" ;;
    folder) set -- "$folder" "$file" "$2" ;;
    header) set -- "$file" $((file + 1)) "$2" ;;
    payload) set -- $((file + 64)) $((file + 65)) "$2" ;;
    esac
    load_errors drive with_errors "$1" "$2" && activate drive
    decrypt.sh /dev/mapper/drive >$work/out 2>$work/err
    status=$?
    cat $work/err
    [ "$status" -eq "$3" ] || die "decrypt.sh exits with status $status, not $3"
}

[ "$1" = prepare ] || [ -e $work/prepared ] || die "run io_errors.sh prepare first"
"$@"
