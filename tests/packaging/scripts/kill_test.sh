#!/bin/bash
# Tests that SIGKILL of a script never loses the presets, and never makes the updater report success when the memory is
# incomplete. The updater runs a script through `sh -c`, which replaces itself with the script. The updater treats a
# fatal signal as success. The test does the same.
# Usage: kill_test.sh busybox|dash lines|update|reset|sample
#   lines: kills at progress lines; update, reset: kills before every external command of an update or of a factory
#   reset; sample: kills at a few progress lines and before a few external commands of an update
set -uo pipefail
files=(engine/engine.bin presets-factory/bass/cellar.preset) # few, because the scripts run hundreds of times
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"

readonly commands=(cat chmod cmp cp cut dd df dumpe2fs e2fsck expr find flock grep head id ls mkdir mount mv openssl
  rm sed sort stat sync tail tar truncate umount wc zstd)

# run_as_updater SCRIPT [ARGUMENT]: runs a script, and waits until its output is closed, also by processes that the
# script leaves behind. Sets $status as the updater does.
run_as_updater() {
  status=0
  in_root /bin/sh -c "/usr/sbin/$*" 2>>err </dev/null | cat >out || status=$?
  [[ $status -le 128 ]] || status=0
}

# run_step SCRIPT MODE: runs decrypt, format or install as the updater does, for an update (0) or a factory reset (1).
# Without an installed version, the updater offers only a factory reset.
run_step() {
  case $1 in
  decrypt) run_as_updater decrypt.sh /dev/sda1 ;;
  format) [[ $2 -eq 1 || -s $root/tmp/fw/version.old.txt ]] && run_as_updater format.sh "$2" ;;
  install) run_as_updater install.sh ;;
  esac && [[ $status -eq 0 ]]
}

# operate MODE [SCRIPT]: runs all scripts, or SCRIPT and the following ones. Sets $outcome to the step that failed
# (decrypt, format or install), or to done.
operate() {
  local script
  outcome=
  for script in decrypt format install; do
    [[ -n $outcome || $script == "${2:-decrypt}" ]] || continue
    outcome=$script
    run_step "$script" "$1" || return 0
  done
  outcome="done"
}

# verify_operation MODE: checks the memory after an update (0) or a factory reset (1).
verify_operation() {
  local presets=("$user_presets" "$firmware/presets-factory")
  verify "${presets[$1]}"
}

# check_outcome MODE: called after an operation in which a process was killed. If the operation is done, checks the
# memory. Then checks that the next operation succeeds. Checks operations with the same outcome and state only once.
check_outcome() {
  local state=unknown
  ! describe_state || state="$1 $outcome $(sha256sum <state.tar)"
  ! grep -q -s -x -F "$state" "$work/checked_states" || return 0
  [[ $outcome != "done" ]] || verify_operation "$1" || { echo "done, but incomplete"; return 1; }
  reset_settings
  operate "$1"
  [[ $outcome == "done" ]] || { echo "the next operation fails in $outcome: $(tail -n 3 err)"; return 1; }
  verify_operation "$1" || return
  [[ $state == unknown ]] || echo "$state" >>"$work/checked_states"
}

# Writes to state.tar what the next operation will find: /tmp, /run, and the content of both partitions. Fails if a
# partition is mounted, because its image is then incomplete.
describe_state() {
  ! mounted_below "$root/run" >/dev/null || return 1
  rm -rf state
  mkdir state
  describe_partition memory
  describe_partition backup
  tar --sort=name --mtime=@0 --exclude=run/calls -cf state.tar state -C "$root" tmp run
}

# describe_partition NAME: describes a file system by its files and its superblock, without fields on which the scripts
# do not depend, such as times and UUID. Copies the image instead when the file system has errors or needs recovery.
describe_partition() {
  local varying='UUID|Hash Seed|created|time|checked|Mount count|Journal sequence|[Cc]hecksum:'
  if e2fsck -fn "$1.img" && dumpe2fs -h "$1.img" >header && ! grep needs_recovery header; then
    grep -v -E "$varying" header >"state/$1.header"
    mkdir "state/$1"
    debugfs -R "rdump / state/$1" "$1.img"
  else
    cp --sparse=always "$1.img" state/
  fi >/dev/null 2>&1
}

# fails_after_kill LINE: the first process of install.sh is killed at the progress line LINE, and the other processes
# fail. They must keep the output open, because otherwise the updater would report success.
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

# skip_pauses: the scripts skip pauses of at most 1 s, to save time.
skip_pauses() {
  cat >>"$root/etc/tonecrate/updater.conf" <<'END'
sleep() { [ "$1" -le 1 ] || command sleep "$1"; }
END
}

# save_points MODE: runs an operation, and saves the state before each script to $work/points.MODE/SCRIPT: both
# partitions, /tmp, /run and the number of external commands so far. Runs the operation only the first time.
save_points() {
  local script point
  [[ ! -e $work/points.$1 ]] || return 0
  plug_drive
  before_command -1 : "${commands[@]}"
  for script in decrypt format install; do
    point=$work/points.$1/$script
    mkdir -p "$point"
    cp --sparse=always memory.img backup.img "$point/"
    cp -a "$root/tmp" "$root/run" "$point/"
    find "$point/run/calls" -type f -printf '%f\n' -delete | wc -l >"$point/number"
    rmdir "$point/run/calls"
    run_step "$script" "$1" || { echo "$script fails without a kill"; return 1; }
  done
}

# restore_point SCRIPT MODE: restarts the device with the state saved before SCRIPT.
restore_point() {
  local point=$work/points.$2/$1
  renew "$point"
  cp -a "$point"/{tmp,run} "$root"
  plug_drive
}

# find_script NUMBER MODE: sets $script to the script that runs external command NUMBER, and $before to the number of
# external commands before this script.
find_script() {
  for script in install format decrypt; do
    before=$(<"$work/points.$2/$script/number")
    [[ $before -gt $1 ]] || break
  done
}

# killed_at SCRIPT LINE COMMAND MODE: COMMAND kills a process of the script after the progress line LINE.
killed_at() {
  save_points "$4"
  restore_point "$1" "$4"
  signal_main
  on_line "$2" ": >/run/killed; $3"
  operate "$4" "$1"
  [[ -e $root/run/killed ]] || { echo "no script prints that line"; return 1; }
  check_outcome "$4"
}

# killed_at_every STEP MODE LEAST: kills the main process before every STEP-th external command, each time in a new
# operation. The operation must have at least LEAST commands.
killed_at_every() {
  local number=0 script before
  save_points "$2"
  while true; do
    find_script "$number" "$2"
    restore_point "$script" "$2"
    signal_main
    before_command $((number - before)) ": >/run/killed; signal_main KILL" "${commands[@]}"
    skip_pauses
    operate "$2" "$script"
    [[ -e $root/run/killed ]] || break
    check_outcome "$2" || { echo "killed before command $number"; return 1; }
    number=$((number + $1))
  done
  [[ $outcome == "done" ]] || { echo "without a kill, the operation fails in $outcome"; return 1; }
  [[ $number -ge $3 ]] || { echo "only $number commands"; return 1; }
}

# update_killed_in SCRIPT LINE...: kills each of the script's three processes at each of these progress lines of an
# update.
update_killed_in() {
  local script=$1 line process
  for line in "${@:2}"; do
    it "an update survives SIGKILL of the first process of $script.sh at \"$line\"" \
      killed_at "$script" "$line" 'kill -s KILL $$' 0
    for process in main middle; do
      it "an update survives SIGKILL of the $process process of $script.sh at \"$line\"" \
        killed_at "$script" "$line" "signal_$process KILL" 0
    done
  done
}

# reset_killed_in SCRIPT LINE...: kills the script's first and main process at each of these progress lines of a factory
# reset.
reset_killed_in() {
  local script=$1 line
  for line in "${@:2}"; do
    it "a factory reset survives SIGKILL of the first process of $script.sh at \"$line\"" \
      killed_at "$script" "$line" 'kill -s KILL $$' 1
    it "a factory reset survives SIGKILL of the main process of $script.sh at \"$line\"" \
      killed_at "$script" "$line" 'signal_main KILL' 1
  done
}

every_line() {
  update_killed_in decrypt "Reading the drive" "Checking the signature" "Unpacking... 15" "Unpacking... 7" \
    "Reading the old version" "Checking the files... 90" "Ready"
  update_killed_in format "Checking the memory" "Saving" "Checking the saved" "Formatting" "Restoring" \
    "Checking the presets" "Formatted"
  update_killed_in install "Checking the memory" "Installing... 40" "Installing... 70" "Writing to the disk" \
    "Checking the files... 80" "Writing the version" "Installed"
  reset_killed_in format "Discarding" "Formatting" "Formatted"
  reset_killed_in install "Installing... 70" "Writing the version" "Installed"
}

sample() {
  it "an update survives SIGKILL of the first process of format.sh" killed_at format "Formatting" 'kill -s KILL $$' 0
  it "an update survives SIGKILL of the main process of format.sh" killed_at format "Formatting" 'signal_main KILL' 0
  it "an update survives SIGKILL of the main process of install.sh" killed_at install "Writing to" 'signal_main KILL' 0
  it "an update survives SIGKILL before some external commands" killed_at_every 37 0 200
  it "a killed script whose remaining processes fail is not reported as done" fails_after_kill "Installing... 40"
}

case ${2:-} in
lines) every_line ;;
update) it "an update survives SIGKILL before each external command" killed_at_every 1 0 200 ;;
reset) it "a factory reset survives SIGKILL before each external command" killed_at_every 1 1 150 ;;
sample) sample ;;
*) echo "usage: kill_test.sh busybox|dash lines|update|reset|sample" >&2; exit 2 ;;
esac
finish
