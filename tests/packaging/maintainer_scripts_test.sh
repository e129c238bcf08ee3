#!/bin/bash
# Tests the maintainer scripts of the package tonecrate-updater, with commands that only record their calls. The scripts
# run in a namespace whose /run and /sys/module each case prepares.
set -uo pipefail

repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly repository work calls=$work/calls output=$work/output
trap 'rm -rf -- "$work"' EXIT
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$repository/tests/support/cases.sh"

unshare --user --map-root-user --mount true 2>/dev/null || { echo "skipped: namespaces are not available"; exit 77; }

# Creates commands that record their calls. modprobe fails when the file `busy` exists.
make_commands() {
  local name
  mkdir "$work/bin"
  for name in systemctl udevadm modprobe deb-systemd-invoke; do
    printf '#!/bin/sh\necho "%s $*" >>%s\n[ %s != modprobe ] || [ ! -e %s ]\n' "$name" "$calls" "$name" "$work/busy" \
      >"$work/bin/$name"
    chmod +x "$work/bin/$name"
  done
}

# Each case starts with a running systemd and udev, and without spidev.
around_case() {
  rm -rf "$work"/{run,module,busy,calls,output}
  mkdir -p "$work"/{module,run/systemd/system,run/udev}
  : >"$calls"
  python3 -c 'import socket, sys; socket.socket(socket.AF_UNIX).bind(sys.argv[1])' "$work/run/udev/control"
  "$@"
}

# spidev_module SIZE [built-in]: creates the files of spidev in /sys/module. SIZE is its buffer size in bytes.
spidev_module() {
  mkdir -p "$work/module/spidev/parameters"
  echo "$1" >"$work/module/spidev/parameters/bufsiz"
  [[ ${2:-} == built-in ]] || echo live >"$work/module/spidev/initstate"
}

# run NAME ARGUMENT...: runs a maintainer script.
run() {
  local script=$repository/packaging/$1
  shift
  # shellcheck disable=SC2016 # for the inner shell
  unshare --user --map-root-user --mount sh -euc '
    mount --bind "$1/run" /run
    mount --bind "$1/module" /sys/module
    PATH=$1/bin:$PATH
    shift
    exec "$@"' sh "$work" "$script" "$@" >"$output"
  cat "$calls" "$output"
}

readonly reload_systemd="systemctl --system daemon-reload"
readonly apply_rules="udevadm control --reload
udevadm trigger --action=change --sysname-match=spidev0.0 --sysname-match=event0"

applies_unit_and_rules() {
  run postinst configure ''
  [[ $(cat "$calls") == "$reload_systemd"$'\n'"$apply_rules" && ! -s $output ]]
}

reloads_spidev() {
  spidev_module 4096
  run postinst configure ''
  [[ $(sed -n '3,4p' "$calls") == $'modprobe -r spidev\nmodprobe spidev' && ! -s $output ]]
}

asks_for_a_restart() {
  spidev_module 4096
  touch "$work/busy"
  run postinst configure ''
  [[ $(cat "$output") == "tonecrate-updater: spidev is in use: restart the device before the first update" ]]
  [[ $(tail -n 1 "$calls") == "${apply_rules#*$'\n'}" ]]
}

names_the_kernel_option() {
  spidev_module 4096 built-in
  run postinst configure ''
  [[ $(cat "$output") == "tonecrate-updater: spidev is built into this kernel: boot with spidev.bufsiz=10240" ]]
  [[ $(cat "$calls") != *modprobe* ]]
}

leaves_a_sufficient_spidev() {
  spidev_module 10240
  run postinst configure ''
  [[ $(cat "$calls") != *modprobe* && ! -s $output ]]
}

does_nothing_in_a_chroot() {
  rm -r "$work"/run/*
  spidev_module 4096
  run postinst configure '' && run prerm remove && run postrm remove
  [[ ! -s $calls && ! -s $output ]]
}

upgrade_stops_nothing() {
  run prerm upgrade 2.0 && run postrm upgrade 2.0
  [[ ! -s $calls ]]
}

removal_undoes_everything() {
  run prerm remove && run postrm remove
  [[ $(cat "$calls") == "deb-systemd-invoke stop tonecrate-updater.service
$reload_systemd
systemctl --quiet is-failed tonecrate-updater.service
systemctl reset-failed tonecrate-updater.service
$apply_rules" ]]
}

make_commands
it "the installation applies the unit and the rules to the running system" applies_unit_and_rules
it "the installation reloads a spidev whose buffer is too small" reloads_spidev
it "the installation asks for a restart when spidev is in use" asks_for_a_restart
it "the installation names the kernel option when spidev is built in" names_the_kernel_option
it "the installation does not reload a spidev whose buffer is large enough" leaves_a_sufficient_spidev
it "in a chroot the maintainer scripts do nothing" does_nothing_in_a_chroot
it "an upgrade stops nothing" upgrade_stops_nothing
it "a removal stops the updater and unloads its unit and its rules" removal_undoes_everything
finish
