# Sourced by the tests in this folder: creates a simulated device with keys and firmware; plugs drives.
# shellcheck shell=bash

repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../../..")
readonly repository scripts=$repository/sim/scripts firmware=$repository/sim/firmware maker=$repository/packaging/maker
work=$(mktemp -d) || exit 1
readonly work
trap 'rm -rf -- "$work"' EXIT
# shellcheck source=../../support/containers.sh
. "$repository/tests/support/containers.sh"
# shellcheck source=../../support/cases.sh
. "$repository/tests/support/cases.sh"
export LC_ALL=C DEVICE_ROOT="$work/case/the device"
PATH=$PATH:/usr/sbin:/sbin

make_fixtures() {
  "$maker/tonecrate-make-keys" "$work/keys" &&
    "$scripts/make_device.sh" "$work/device" "$work/keys" &&
    "$maker/tonecrate-pack-firmware" "$firmware" 2.0.0 "$work/keys" "$work/tonecrate.fw" &&
    "$scripts/make_drive.sh" "$work/drive.img" "$work/tonecrate.fw" || exit 1
}

# Every case starts with a new device.
around_case() {
  rm -rf -- "$work/case"
  mkdir "$work/case"
  cp -R "$work/device" "$DEVICE_ROOT"
  cd "$work/case"
  "$@"
}

# run SCRIPT [ARGUMENT...]: runs an installed script. Stores the output in ./out and ./err, and the exit status in
# $status.
run() {
  status=0
  "$DEVICE_ROOT/usr/sbin/$1" "${@:2}" >out 2>err || status=$?
}

# expect STATUS SCRIPT [ARGUMENT...]: runs the script and checks its exit status. If it fails, the last line on standard
# error must begin with its name; if it succeeds, standard error must be empty. It must leave no temporary files.
expect() {
  local wanted=$1
  shift
  run "$@"
  [[ $status -eq $wanted ]] || { echo "$1 exits $status, not $wanted: $(cat err)"; return 1; }
  if [[ $wanted -eq 0 ]]; then
    [[ ! -s err ]] || { echo "$1 succeeds with an error message: $(cat err)"; return 1; }
  else
    [[ $(tail -n 1 err) == "$1: "* ]] || { echo "$1 does not report why it fails: $(cat err)"; return 1; }
  fi
  no_leftovers
}

# refuses COMMAND [ARGUMENT...]: checks that a tool fails, prints one line that begins with its name, and leaves no
# scratch folder.
refuses() {
  status=0
  "$@" >out 2>err || status=$?
  [[ $status -ne 0 ]] || { echo "$1 succeeds"; return 1; }
  [[ $(wc -l <err) -eq 1 && $(cat err) == "${1##*/}: "* ]] ||
    { echo "$1 does not print one line that begins with its name: $(cat err)"; return 1; }
  [[ -z $(find . -name '.scratch*') ]] || { echo "leaves its scratch folder"; return 1; }
}

no_leftovers() {
  [[ ! -e $DEVICE_ROOT/tmp/fw.new && ! -e $DEVICE_ROOT/run/tonecrate/memory ]] ||
    { echo "leaves temporary files"; return 1; }
}

plug_partitioned() {
  cp --sparse=always "$1" "$DEVICE_ROOT/dev/sda"
  dd if="$1" of="$DEVICE_ROOT/dev/sda1" bs=1M skip=1 conv=sparse status=none
}

plug_whole() {
  cp --sparse=always "$1" "$DEVICE_ROOT/dev/sda"
}

# plug_firmware FILE: plugs a drive without a partition table, with FILE as tonecrate.fw.
plug_firmware() {
  mkdir -p drive
  cp "$1" drive/tonecrate.fw
  "$scripts/make_drive.sh" --no-partition drive.img drive/tonecrate.fw
  plug_whole drive.img
}

verify() {
  "$scripts/verify_memory.sh" "$DEVICE_ROOT" "$firmware" 2.0.0 "$1"
}

memory_hash() {
  sha256sum <"$DEVICE_ROOT/dev/memory"
}

# memory_command COMMAND: runs a debugfs command on the internal memory.
memory_command() {
  debugfs -w -R "$1" "$DEVICE_ROOT/dev/memory" 2>/dev/null
}

# update_device: runs all three scripts for an update and verifies the memory.
update_device() {
  plug_partitioned "$work/drive.img"
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$DEVICE_ROOT/tmp/fw/version.txt") == 2.0.0 ]]
  [[ $(cat "$DEVICE_ROOT/tmp/fw/version.old.txt") == 1.4.2 ]]
  expect 0 format.sh 0
  expect 0 install.sh
  verify kept
}
