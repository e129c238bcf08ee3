#!/bin/bash
# Tests that SIGKILL of a script never loses the presets, and never makes the updater report an incomplete memory as
# done. The updater runs a script through `sh -c`, which replaces itself by the script, and takes a fatal signal for
# success; the test does the same.
# Usage: kill_test.sh busybox|dash lines|update|reset|sample   (what is tested: all progress lines, all commands of an
# update or of a factory reset, or a few of each)
set -uo pipefail
files=(engine/engine.bin presets-factory/bass/cellar.preset) # few, because the scripts run more than 1500 times
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

readonly commands=(cat chmod cmp cp cut dd df dumpe2fs e2fsck expr find flock grep head id ls mkdir mount mv openssl
  rm sed sort stat sync tail tar truncate umount wc zstd)

# run_as_updater SCRIPT [ARGUMENT]: waits for the end of the output, also from processes that the script leaves behind.
# Sets $status as the updater does.
run_as_updater() {
  status=0
  in_root /bin/sh -c "/usr/sbin/$*" 2>>err </dev/null | cat >out || status=$?
  [[ $status -le 128 ]] || status=0
}

# operate MODE: runs the scripts as the updater does, for an update (0) or a factory reset (1). Sets $outcome to the end
# of the operation: decrypt, format, install (the step that failed), or done. Without an installed version, the updater
# offers only a factory reset.
operate() {
  outcome=decrypt
  run_as_updater decrypt.sh /dev/sda1
  [[ $status -eq 0 ]] || return 0
  outcome=format
  [[ $1 -eq 1 || -s $root/tmp/fw/version.old.txt ]] || return 0
  run_as_updater format.sh "$1"
  [[ $status -eq 0 ]] || return 0
  outcome=install
  run_as_updater install.sh
  [[ $status -eq 0 ]] || return 0
  outcome="done"
}

# verify_operation MODE: checks the memory after an update (0) or a factory reset (1).
verify_operation() {
  local presets=("$user_presets" "$firmware/presets-factory")
  verify "${presets[$1]}"
}

# check_outcome MODE: checks an operation in which a process was killed, and then that the next one succeeds.
check_outcome() {
  [[ $outcome != "done" ]] || verify_operation "$1" || { echo "done, but incomplete"; return 1; }
  reset_settings
  operate "$1"
  [[ $outcome == "done" ]] || { echo "the next operation fails in $outcome: $(tail -n 3 err)"; return 1; }
  verify_operation "$1"
}

# state: identifies all that the next operation finds: both partitions, /tmp and /run. Fails if a partition is mounted,
# because its image is then incomplete.
state() {
  ! mounted_below "$root/run" >/dev/null || return 1
  {
    cat memory.img backup.img
    cd "$root"
    find tmp run -path run/calls -prune -o -printf '%p %y %m %U %l\n' -type f -exec sha256sum {} + | sort
  } | openssl sha256 # faster than sha256sum
}

# killed_at LINE COMMAND MODE: COMMAND kills a process of the script after the progress line LINE.
killed_at() {
  plug_drive
  signal_main
  on_line "$1" ": >/run/killed; $2"
  operate "$3"
  [[ -e $root/run/killed ]] || { echo "no script prints that line"; return 1; }
  check_outcome "$3"
}

# fails_after_kill LINE: the script is killed at LINE of install.sh, and what it leaves behind fails. It must hold the
# output open, because the updater would report success.
fails_after_kill() {
  local tries=100
  plug_drive
  run_as_updater decrypt.sh /dev/sda1
  run_as_updater format.sh 0
  on_line "$1" "kill -s KILL \$\$; mount -o remount,ro /run/tonecrate/memory"
  setsid env -i --default-signal /usr/sbin/chroot "$root" /bin/sh -c /usr/sbin/install.sh </dev/null >out 2>err &
  until grep -q "SHOW: Failed: switch off and update again" out; do
    [[ $((tries -= 1)) -gt 0 ]] || { echo "install.sh does not report the failure: $(tail -n 2 out)"; return 1; }
    sleep 0.1
  done
  sleep 0.2
  pgrep -g $! >holders || { echo "nothing holds the output open"; return 1; }
  kill -KILL -- -$!
  wait || true
  shut_down
  boot
  reset_settings
  plug_drive
  operate 0
  [[ $outcome == "done" ]]
  verify "$user_presets"
}

# skip_pauses: the scripts do not wait so that the owner can read the reason of a failure.
skip_pauses() {
  cat >>"$root/etc/tonecrate/updater.conf" <<'END'
sleep() { [ "$1" -le 1 ] || command sleep "$1"; }
END
}

# killed_at_every STEP MODE LEAST: tests every STEP-th external command of an operation, each time on a new device. The
# operation must have at least LEAST commands. Kills that leave equal states are followed by one further operation only.
killed_at_every() {
  local number=0 found
  local -A checked=()
  while true; do
    renew
    plug_drive
    signal_main
    before_command "$number" ": >/run/killed; signal_main KILL" "${commands[@]}"
    skip_pauses
    operate "$2"
    [[ -e $root/run/killed ]] || break
    found="$outcome $(state)" || found=$number
    [[ -z ${checked[$found]:-} ]] || { number=$((number + $1)); continue; }
    checked[$found]=yes
    check_outcome "$2" || { echo "killed before command $number"; return 1; }
    number=$((number + $1))
  done
  [[ $outcome == "done" ]] || { echo "without a kill, the operation fails in $outcome"; return 1; }
  [[ $number -ge $3 ]] || { echo "only $number commands"; return 1; }
}

readonly lines=("Reading the drive" "Checking the signature" "Unpacking... 15" "Unpacking... 7" "Reading the old version"
  "Checking the files... 90" "Ready" "Checking the memory" "Saving" "Checking the saved" "Formatting" "Restoring"
  "Checking the presets" "Formatted" "Installing... 40" "Installing... 70" "Writing to the disk"
  "Checking the files... 80" "Writing the version" "Installed")
readonly reset_lines=("Discarding" "Formatting" "Formatted" "Installing... 70" "Writing the version" "Installed")

every_line() {
  local line process
  for line in "${lines[@]}"; do
    it "an update survives SIGKILL of the script at \"$line\"" killed_at "$line" 'kill -s KILL $$' 0
    for process in main middle; do
      it "an update survives SIGKILL of its $process process at \"$line\"" killed_at "$line" "signal_$process KILL" 0
    done
  done
  for line in "${reset_lines[@]}"; do
    it "a factory reset survives SIGKILL of the script at \"$line\"" killed_at "$line" 'kill -s KILL $$' 1
    it "a factory reset survives SIGKILL of its main process at \"$line\"" killed_at "$line" 'signal_main KILL' 1
  done
}

sample() {
  it "an update survives SIGKILL of the script at \"Formatting\"" killed_at "Formatting" 'kill -s KILL $$' 0
  it "an update survives SIGKILL of its main process at \"Formatting\"" killed_at "Formatting" 'signal_main KILL' 0
  it "an update survives SIGKILL of its main process at \"Writing to\"" killed_at "Writing to" 'signal_main KILL' 0
  it "an update survives SIGKILL before some external commands" killed_at_every 37 0 200
  it "a script that is killed and then fails is not reported as done" fails_after_kill "Installing... 40"
}

case ${2:-} in
lines) every_line ;;
update) it "an update survives SIGKILL before any external command" killed_at_every 1 0 200 ;;
reset) it "a factory reset survives SIGKILL before any external command" killed_at_every 1 1 150 ;;
sample) sample ;;
*) echo "usage: kill_test.sh busybox|dash lines|update|reset|sample" >&2; exit 2 ;;
esac
finish
