#!/bin/bash
# Tests that SIGKILL of a script never loses the presets, and never makes the updater report an incomplete memory as
# done. The updater runs a script through `sh -c`, which replaces itself by the script, and takes a fatal signal for
# success; the test does the same.
# Usage: kill_test.sh busybox|dash [sample]   (sample: tests only a few commands)
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

readonly commands="cat chmod cmp cp cut dd df dumpe2fs e2fsck expr find flock grep gzip head id ls mkdir mount mv \
openssl rm sed sort stat sync tail tar truncate umount wc"

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

# verify_reset: checks the memory after a factory reset.
verify_reset() {
  verify "$firmware/presets-factory" "$firmware"
}

# check_outcome MODE: checks an operation in which a process was killed, and then that the next one succeeds.
check_outcome() {
  if [[ $outcome == "done" ]]; then
    if [[ $1 -eq 0 ]]; then verify "$user_presets"; else verify_reset; fi || { echo "done, but incomplete"; return 1; }
  fi
  cp "$work/updater.conf" "$root/etc/tonecrate/"
  if [[ $1 -eq 0 ]]; then
    operate 0
    [[ $outcome == "done" ]] || { echo "the next update fails in $outcome: $(tail -n 3 err)"; return 1; }
    verify "$user_presets"
  else
    operate 1
    [[ $outcome == "done" ]] || { echo "the next factory reset fails in $outcome: $(tail -n 3 err)"; return 1; }
    verify_reset
  fi
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

# kill_at_command NUMBER: kills the process that runs `main` before external command NUMBER of all scripts, counted
# from 0. The scripts read their settings last, so the functions in the settings replace the commands.
kill_at_command() {
  echo 0 >"$root/run/count"
  signal_main
  {
    cat <<END
count() {
  read -r number </run/count || number=0
  echo \$((number + 1)) >/run/count
  [ "\$number" -ne $1 ] || { : >/run/killed; signal_main KILL; }
}
make_ext4() { count && /sbin/mke2fs "\$@"; }
mke2fs=make_ext4
END
    for command in $commands; do
      echo "$command() { count && command $command \"\$@\"; }"
    done
  } >>"$root/etc/tonecrate/updater.conf"
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
  cp "$work/updater.conf" "$root/etc/tonecrate/"
  plug_drive
  operate 0
  [[ $outcome == "done" ]]
  verify "$user_presets"
}

# killed_at_every STEP MODE: tests every STEP-th command of an operation, each time on a new device.
killed_at_every() {
  local number=0
  cp --sparse=always memory.img memory.new
  cp --sparse=always backup.img backup.new
  while true; do
    shut_down
    cp --sparse=always memory.new memory.img
    cp --sparse=always backup.new backup.img
    cp "$work/updater.conf" "$root/etc/tonecrate/"
    boot
    plug_drive
    kill_at_command "$number"
    operate "$2"
    [[ -e $root/run/killed ]] || break
    check_outcome "$2" || { echo "killed before command $number"; return 1; }
    number=$((number + $1))
  done
  [[ $number -gt 60 ]] || { echo "only $number commands"; return 1; }
}

readonly lines=("Reading the drive" "Checking the signature" "Unpacking... 15" "Unpacking... 7" "Reading the old version"
  "Checking the files... 90" "Ready" "Checking the memory" "Saving" "Checking the saved" "Formatting" "Restoring"
  "Checking the presets" "Formatted" "Installing... 13" "Installing... 70" "Writing to the disk" "Checking the files... 80"
  "Writing the version" "Installed")
readonly reset_lines=("Discarding" "Formatting" "Formatted" "Installing... 70" "Writing the version" "Installed")

every_kill() {
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
  it "an update survives SIGKILL before any external command" killed_at_every 1 0
  it "a factory reset survives SIGKILL before any external command" killed_at_every 1 1
  it "a script that is killed and then fails is not reported as done" fails_after_kill "Installing... 40"
}

# A sample of lines, commands and processes.
sample() {
  it "an update survives SIGKILL of the script at \"Formatting\"" killed_at "Formatting" 'kill -s KILL $$' 0
  it "an update survives SIGKILL of its main process at \"Formatting\"" killed_at "Formatting" 'signal_main KILL' 0
  it "an update survives SIGKILL of its main process at \"Writing to\"" killed_at "Writing to" 'signal_main KILL' 0
  it "an update survives SIGKILL before some external commands" killed_at_every 37 0
  it "a script that is killed and then fails is not reported as done" fails_after_kill "Installing... 40"
}

if [[ ${2:-} == sample ]]; then sample; else every_kill; fi
finish
