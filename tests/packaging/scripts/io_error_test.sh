#!/bin/bash
# Tests that I/O errors of the memory or of the backup never lose the presets, and never make a script report an
# incomplete memory as complete. The image of the tested partition is in a file system that becomes full, so the kernel
# reports an I/O error for each block that no longer fits.
# Usage: io_error_test.sh busybox|dash [sample]   (sample: tests only 3 of 20 sizes of this file system)
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

readonly card=$root/card # shut_down unmounts everything in the root

# restart_with PARTITION KIB: restarts the device with the images of a new device. The image of PARTITION accepts only
# another KIB KiB of data.
restart_with() {
  shut_down
  mkdir -p "$card"
  mount -t tmpfs -o size=64M tmpfs "$card"
  rm memory.img backup.img
  cp --sparse=always "$work/memory.img" "$work/backup.img" .
  mv "$1.img" "$card/"
  ln -s "$card/$1.img" .
  boot
  limit "$2"
}

# limit KIB: the card accepts another KIB KiB of data, plus one page.
limit() {
  mount -o remount,size="$(($(df -k --output=used "$card" | tail -n 1) + $1 + 4))k" "$card" # a size of 0 is no limit
}

# Runs format.sh 0 and install.sh. Sets $failed to the script that fails; empty if both succeed.
operate() {
  failed=format.sh
  run format.sh 0
  [[ $status -eq 0 ]] || return 0
  failed=install.sh
  run install.sh
  [[ $status -ne 0 ]] || failed=
}

# errors_at_points STEP PARTITION MOST OUTCOMES: runs an update in which PARTITION accepts a limited amount of data, and
# then an update with enough space. Tests every STEP-th of 20 limits from 0 to 95 % of MOST KiB. OUTCOMES lists the
# scripts that must fail at a limit, and `none` if both scripts must succeed at a limit.
errors_at_points() {
  local point seen=
  for ((point = 0; point < 20; point += $1)); do
    restart_with "$2" $((point * $3 / 20))
    prepare
    operate
    echo "$((point * $3 / 20)) KiB: ${failed:-both scripts succeed}"
    seen+=" ${failed:-none}"
    [[ -n $failed ]] || verify "$user_presets"
    limit 32000
    sync
    update
    verify "$user_presets"
  done
  for failed in $4; do
    [[ $seen == *" $failed"* ]] || { echo "no operation has the outcome $failed"; return 1; }
  done
}

if [[ ${2:-} == sample ]]; then
  it "an update after I/O errors of the memory keeps the presets" errors_at_points 9 memory 1400 "format.sh"
  it "an update after I/O errors of the backup keeps the presets" errors_at_points 9 backup 1400 "format.sh"
else
  it "an update after I/O errors of the memory keeps the presets" errors_at_points 1 memory 1400 "format.sh install.sh none"
  it "an update after I/O errors of the backup keeps the presets" errors_at_points 1 backup 1400 "format.sh none"
fi
finish
