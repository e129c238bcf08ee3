# Sourced by the tests in this folder: creates a device on which the scripts run. Its root contains only the programs
# and files that the scripts may use, and a few programs for the tests. Its partitions and its drive are loop devices.
# Its mounts are in a separate namespace.
# Usage of the tests: NAME_test.sh busybox|dash [ARGUMENT]   (a root with BusyBox, or with dash and the GNU tools)
# The sourcing test may set `files` to the files of the simulator's firmware that it needs; default: all files.
# shellcheck shell=bash

[[ ${1:-} == busybox || ${1:-} == dash ]] || { echo "usage: ${0##*/} busybox|dash [ARGUMENT]" >&2; exit 2; }
unshare --mount true 2>/dev/null || { echo "skipped: no permission to mount (needs root)"; exit 77; }
[[ -n ${OWN_MOUNTS:-} ]] || OWN_MOUNTS=yes exec unshare --mount --propagation private "${BASH_SOURCE[1]}" "$@"

shell=$1
repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../../..")
work=$(mktemp -d) || exit 1
mount -t tmpfs tmpfs "$work" || exit 1 # faster than a disk
root=$work/root
readonly shell repository work root scripts=$repository/packaging/scripts tools=$repository/sim/scripts
readonly maker=$repository/packaging/maker firmware=$work/firmware user_presets=$tools/user_presets
status=0
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin
trap clean_up EXIT
# shellcheck source=../../support/containers.sh
. "$repository/tests/support/containers.sh"
# shellcheck source=../../support/cases.sh
. "$repository/tests/support/cases.sh"

# The build machine's kernel may lack FAT. The drive and the setting drive_file_systems then use ext4.
drive_type=ext4
if grep -qw vfat /proc/filesystems || modprobe -q vfat 2>/dev/null; then drive_type=vfat; fi

clean_up() {
  shut_down
  cd /
  umount "$root/proc" "$root/sys" "$work"
  rmdir -- "$work"
}

# add_program FOLDER PROGRAM...: copies programs into FOLDER of the root, and their libraries into the root.
add_program() {
  local folder=$root$1 program programs=()
  for program in "${@:2}"; do
    programs+=("$(type -P "$program")") || { echo "missing tool: $program" >&2; exit 1; }
  done
  mkdir -p "$folder"
  cp -L "${programs[@]}" "$folder/"
  ldd "${programs[@]}" 2>/dev/null | grep -o '\s/[^ ]*' | sort -u | xargs -r cp -L --parents -t "$root"
}

make_root() {
  mkdir -p "$root"/{bin,sbin,usr/bin,usr/sbin,usr/lib/tonecrate,etc/tonecrate,dev,proc,sys,tmp,run,elsewhere}
  add_program /sbin mke2fs e2fsck dumpe2fs
  add_program /usr/bin openssl flock zstd
  if [[ $shell == busybox ]]; then
    add_program /bin busybox
    chroot "$root" /bin/busybox --install -s /bin
  else
    add_program /sbin blockdev # for the tests
    add_program /bin dash cat chmod cmp cp cut dd df expr find grep head id ls mkdir mount mv rm sed sleep sort \
      stat sync tar truncate umount wc
    add_program /bin ln # for the tests
    ln -s dash "$root/bin/sh"
  fi
  cp "$scripts"/{decrypt,format,install}.sh "$root/usr/sbin/"
  cp "$scripts"/{common,container,partitions}.sh "$root/usr/lib/tonecrate/"
  sed "s/^drive_file_systems=.*/drive_file_systems=$drive_type/" "$scripts/updater.conf" >"$work/updater.conf"
  mount -t proc proc "$root/proc"
  mount --bind /sys "$root/sys"
}

make_fixtures() {
  mkdir "$firmware"
  (cd "$repository/sim/firmware" && cp -R --preserve=mode --parents "${files[@]:-.}" "$firmware")
  "$maker/tonecrate-make-keys" "$work/keys"
  "$maker/tonecrate-pack-firmware" "$firmware" 2.0.0 "$work/keys" "$work/tonecrate.fw"
  make_drive "$work/drive.img" "$work/tonecrate.fw"
  mkdir -p "$work/content/firmware"
  echo 'one voice' >"$work/content/firmware/voices.conf"
  echo 1.4.2 >"$work/content/version.txt"
  cp -R "$user_presets" "$work/content/presets"
  mke2fs -q -t ext4 -d "$work/content" "$work/memory.img" 12m >/dev/null 2>&1
  truncate -s 8M "$work/backup.img"
}

# make_drive IMAGE [FILE...]: makes a drive with the files in a file system at 1 MiB.
make_drive() {
  local image=$1
  shift
  if [[ $drive_type == vfat ]]; then
    "$tools/make_drive.sh" "$image" "$@"
  else
    rm -rf "$work/drive_content"
    mkdir "$work/drive_content"
    [[ $# -eq 0 ]] || cp "$@" "$work/drive_content/"
    local mib
    mib=$(($(du -sm "$work/drive_content" | cut -f 1) * 5 / 4 + 4))
    truncate -s $((mib + 1))M "$image"
    mke2fs -q -F -t ext4 -E offset=1048576 -d "$work/drive_content" "$image" "${mib}m"
  fi
}

# plug_firmware FILE: plugs a drive with FILE as tonecrate.fw.
plug_firmware() {
  mkdir -p drive
  cp "$1" drive/tonecrate.fw
  make_drive drive.img drive/tonecrate.fw
  plug_drive drive.img
}

# plug NAME IMAGE [OFFSET [OPTION]]: creates the block device /dev/NAME in the root. OPTION is an option of losetup.
plug() {
  local loop
  loop=$(losetup --find --show --offset "${3:-0}" ${4:+"$4"} "$2")
  cp -a "$loop" "$root/dev/$1"
  echo "$loop" >"$work/loops/$1"
}

# unplug NAME...: removes the device nodes immediately; the kernel releases a loop device when its last user closes it.
unplug() {
  local loop loops=()
  for loop in "${@/#/$work/loops/}"; do
    loops+=("$(<"$loop")")
  done
  rm -f "${@/#/$root/dev/}" "${@/#/$work/loops/}"
  losetup --detach "${loops[@]}"
}

unplug_all() {
  local loops=("$work"/loops/*)
  [[ ! -e ${loops[0]} ]] || unplug "${loops[@]##*/}"
}

plug_drive() {
  plug sda "${1:-$work/drive.img}"
  plug sda1 "${1:-$work/drive.img}" 1048576
}

unplug_drive() {
  unplug sda sda1
}

plug_partitions() {
  plug mmcblk0p3 memory.img
  plug mmcblk0p4 backup.img
}

# Attaches the partitions, and mounts empty file systems on the folders whose content does not survive a loss of power.
boot() {
  mount -t tmpfs -o size=40M tmpfs "$root/tmp"
  mount -t tmpfs -o size=4M tmpfs "$root/run"
  mount -t tmpfs tmpfs "$root/dev"
  mknod "$root/dev/null" c 1 3
  plug_partitions
}

shut_down() {
  local folder folders=()
  for folder in $(mounted_below "$root"); do
    [[ $folder == "$root/proc" || $folder == "$root/sys" ]] || folders=("$folder" "${folders[@]}")
  done
  [[ ${#folders[@]} -eq 0 ]] || umount -l "${folders[@]}"
  unplug_all
}

# mounted_below FOLDER: prints the mount points below FOLDER. Fails when there is none.
mounted_below() {
  local folder status=1
  while read -r _ folder _; do
    [[ $folder != "$1"/* ]] || { echo "$folder" && status=0; }
  done </proc/self/mounts
  return "$status"
}

reset_settings() {
  cp "$work/updater.conf" "$root/etc/tonecrate/"
}

# cut_power: restarts the device with the current content of its partitions, without data that the file systems have not
# written. Also resets the settings.
cut_power() {
  cp --sparse=always memory.img memory.cut
  cp --sparse=always backup.img backup.cut
  shut_down
  mv memory.cut memory.img
  mv backup.cut backup.img
  reset_settings
  boot
}

# renew FOLDER: restarts the device with the partition images in FOLDER. $work contains the images of a new device.
renew() {
  shut_down
  cp --sparse=always "$1/memory.img" "$1/backup.img" .
  reset_settings
  boot
}

# Every case starts with a new device.
around_case() {
  shut_down
  rm -rf --one-file-system -- "$work/case"
  mkdir -p "$work/case" "$work/loops"
  cp --sparse=always "$work/memory.img" "$work/backup.img" "$work/case/"
  cp "$work/keys/signing.pub" "$work/keys/firmware.key" "$work/updater.conf" "$root/etc/tonecrate/"
  cd "$work/case"
  boot
  "$@"
}

# Resets all signals: a test that runs in the background inherits ignored signals, which a shell cannot trap.
in_root() {
  env -i --default-signal /usr/sbin/chroot "$root" "$@"
}

# run SCRIPT [ARGUMENT...]: stores the output in ./out and ./err, and the exit status in $status.
run() {
  status=0
  in_root "/usr/sbin/$1" "${@:2}" >out 2>err </dev/null || status=$?
}

# expect STATUS SCRIPT [ARGUMENT...]: runs the script and checks its exit status, and that a failure is reported on
# standard error.
expect() {
  run "${@:2}"
  [[ $status -eq $1 ]] || { echo "$2 exits $status, not $1: $(cat err)"; return 1; }
  [[ $1 -eq 0 ]] || tail -n 1 err | grep "^$2: " || { echo "$2 does not report why it fails"; return 1; }
  tidy
}

# tidy: checks the conditions that hold after every run of a script.
tidy() {
  ! mounted_below "$root/run" || { echo "leaves a mount"; return 1; }
  [[ ! -e $root/tmp/fw.new ]] || { echo "leaves its scratch folder"; return 1; }
  ! grep -E '^SHOW: .{41}' out || { echo "a progress line has more than 40 characters"; return 1; }
}

# verify PRESETS_FOLDER [FIRMWARE_FOLDER]: checks that the memory's file system has no errors and contains exactly the
# firmware, version 2.0.0 and these presets.
verify() {
  e2fsck -fn memory.img || { echo "the memory is damaged"; return 1; }
  rm -rf seen
  mkdir seen
  debugfs -R "rdump / seen" memory.img 2>/dev/null
  rm -rf seen/lost+found
  mkdir wanted
  cp -R "${2:-$firmware}" wanted/firmware
  cp -R "$1" wanted/presets
  echo 2.0.0 >wanted/version.txt
  diff -r wanted seen
  rm -r wanted
}

hash_of() {
  openssl sha256 <"$1" # faster than sha256sum
}

# decrypt_firmware: runs decrypt.sh, then removes the drive.
decrypt_firmware() {
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  unplug_drive
}

# prepare: puts the firmware in /tmp/fw as decrypt.sh does on a new device. Runs decrypt.sh only the first time.
prepare() {
  if [[ ! -e $work/unpacked ]]; then
    decrypt_firmware
    cp -a "$root/tmp/fw" "$work/unpacked"
  fi
  rm -rf "$root/tmp/fw"
  cp -a "$work/unpacked" "$root/tmp/fw"
}

# update: runs all three scripts for an update.
update() {
  decrypt_firmware
  expect 0 format.sh 0
  expect 0 install.sh
}

# change_setting NAME VALUE: changes a setting of the device.
change_setting() {
  grep -q "^$1=" "$root/etc/tonecrate/updater.conf"
  sed -i "s|^$1=.*|$1=$2|" "$root/etc/tonecrate/updater.conf"
}

# on_line PREFIX COMMAND: every script runs COMMAND after it prints a progress line with this prefix. common.sh defines
# `show` before it reads the settings, so the settings can override it.
on_line() {
  cat >>"$root/etc/tonecrate/updater.conf" <<END
show() {
  printf 'SHOW: %s\n' "\$1"
  case \$1 in
  "$1"*) $2 ;;
  esac
}
END
}

# before_command NUMBER ACTION COMMAND...: numbers all calls of these commands and of mke2fs from 0, across all scripts;
# the scripts run ACTION before call NUMBER. Functions in the settings replace the commands.
before_command() {
  local command
  mkdir "$root/run/calls"
  {
    cat <<END
# Processes that run at the same time must not get the same number, so a call takes its number by creating a file.
call=0
count() {
  set -C
  until { true >/run/calls/\$call; } 2>/dev/null; do
    [ -d /run/calls ] || exit # the test has been killed
    call=\$((call + 1))
  done
  set +C
  [ "\$call" -ne $1 ] || { $2; }
}
make_ext4() { count && /sbin/mke2fs "\$@"; }
mke2fs=make_ext4
END
    for command in "${@:3}"; do
      echo "$command() { count && command $command \"\$@\"; }"
    done
  } >>"$root/etc/tonecrate/updater.conf"
}

# signal_main: defines two functions for on_line and before_command. `signal_main SIGNAL` signals the process that runs
# `main`, a grandchild of the script's first process; `signal_middle SIGNAL` signals the process between these two. Both
# fail unless the caller is the grandchild or a descendant of it.
signal_main() {
  cat >>"$root/etc/tonecrate/updater.conf" <<'END'
find_main() {
  main=
  read -r middle _ </proc/self/stat
  while [ "$middle" -gt 1 ]; do
    read -r _ _ _ parent _ <"/proc/$middle/stat" || return
    [ "$parent" != $$ ] || { [ -n "$main" ]; return; }
    main=$middle middle=$parent
  done
  return 1
}
signal_middle() { find_main && kill -s "$1" "$middle"; }
signal_main() { find_main && kill -s "$1" "$main"; }
END
}

# memory_command COMMAND: runs a debugfs command on the memory, which must not be mounted.
memory_command() {
  debugfs -w -R "$1" memory.img 2>/dev/null
}

make_root && make_fixtures || exit 1
