#!/bin/bash
# Tests the simulator as a program: scenarios, recordings, movies, errors, exit statuses, and the removal of temporary
# files.
# Usage: run_program_test.sh SIMULATOR SCRIPTS (SCRIPTS is the folder sim/scripts)
set -uo pipefail

simulator=$1 scripts=$2
work=$(mktemp -d) || exit 1
trap 'rm -rf -- "$work"' EXIT
mkdir "$work/tmp"
export TMPDIR=$work/tmp
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/cases.sh"

# Two power cycles of 100 and 120 ms, without a drive, because making a drive takes longer than a short run.
printf 'wait 100\npower off\npower on\nwait 100\nturn +1\nwait 20\n' >"$work/short.scenario"

around_case() {
  "$@"
  expect_no_files
}

expect_no_files() {
  [[ -z $(ls -A "$TMPDIR") ]] || { echo "not removed: $(ls -A "$TMPDIR")"; return 1; }
}

# run ARGUMENT...: runs the simulator with its output in $work/out and $work/err and its exit status in $status.
run() {
  status=0
  "$simulator" "$@" </dev/null >"$work/out" 2>"$work/err" || status=$?
}

# fails_with STATUS PATTERN: checks that the last run exited with STATUS and printed exactly one line on standard error,
# which matches PATTERN.
fails_with() {
  cat "$work/err"
  # shellcheck disable=SC2053 # a pattern
  [[ $status -eq $1 && $(wc -l <"$work/err") -eq 1 && $(cat "$work/err") == $2 ]] || { echo "exit status $status"; return 1; }
}

# saves_everything NAME SCENARIO: runs the scenario and saves all that the simulator can save, with the given name.
saves_everything() {
  run --scenario "$2" --record "$work/$1.scenario" --frames "$work/$1" --movie "$work/$1.png" --wires "$work/$1.vcd"
  [[ $status -eq 0 && $(tail -n 1 "$work/out") == *": passed"* ]] || { cat "$work/err"; return 1; }
}

# The later cases use the saved files.
replays_a_recording() {
  saves_everything first "$work/short.scenario"
  saves_everything second "$work/first.scenario"
  [[ $(tail -n 1 "$work/out") == "first: passed: the updater is running" ]]
  local suffix
  for suffix in '' .scenario .png .vcd; do diff -r "$work/first$suffix" "$work/second$suffix"; done
}

saves_frames() {
  [[ -n $(ls "$work/first"/*-waiting.png) ]]
}

# In an animated PNG file, the chunk acTL follows the header.
saves_a_movie() {
  [[ $(head -c 41 "$work/first.png" | tail -c 4) == acTL ]]
}

unwritable_movie() {
  run --scenario "$work/short.scenario" --movie "$work/nowhere/movie.png"
  fails_with 1 "short: failed: cannot write $work/nowhere/movie.png"
}

# reached_by FILE: prints the last time in the recording, in milliseconds.
reached_by() {
  local last
  last=$(grep '^#' "$1" | tail -n 1)
  echo $((${last#'#'} / 1000000))
}

# The last line of a complete recording is the time at which the run ended. Each start-up takes 354 ms, and records the
# data/command line, whose identifier is "$", as undefined (x) once.
records_the_wires() {
  [[ $(tail -n 1 "$work/first.vcd") == '#'* ]]
  [[ $(grep -c '^x\$$' "$work/first.vcd") -eq 2 ]] || { echo "expected exactly two start-ups"; return 1; }
  local end
  end=$(reached_by "$work/first.vcd")
  ((end > 2 * 454 && end < 2 * 454 + 40)) || { echo "ends at $end ms"; return 1; }
}

records_a_failure() {
  printf 'wait 100\nexpect screen menu\n' >"$work/failure.scenario"
  run --scenario "$work/failure.scenario" --wires "$work/wires.vcd"
  fails_with 1 'failure: failed: *' && (($(reached_by "$work/wires.vcd") >= 454))
}

limits_the_wires() {
  run --scenario "$work/short.scenario" --wires "$work/limited.vcd" --wires-limit 1M
  [[ $status -eq 0 && $(tail -n 1 "$work/out") == 'short: passed'* ]] || return 1
  fails_with 0 "tonecrate-simulator: $work/limited.vcd ends at 0.3* s of device time, at the limit of 1048576 bytes \
(--wires-limit)" || return 1
  cmp -n "$(stat -c %s "$work/limited.vcd")" "$work/first.vcd" "$work/limited.vcd"
}

pipes_the_wires() {
  mkfifo "$work/pipe"
  cmp "$work/pipe" "$work/first.vcd" &
  run --scenario "$work/short.scenario" --wires "$work/pipe"
  wait $! && [[ $status -eq 0 ]]
}

pipe_without_reader() {
  mkfifo "$work/pipe2"
  head -c 100000 "$work/pipe2" >/dev/null &
  run --scenario "$work/short.scenario" --wires "$work/pipe2"
  fails_with 1 "short: failed: *: cannot write $work/pipe2: Broken pipe"
}

unwritable_wires() {
  run --scenario "$work/short.scenario" --wires "$work/nowhere/wires.vcd"
  fails_with 1 "short: failed: cannot write $work/nowhere/wires.vcd: No such file or directory" || return 1
  run --scenario "$work/short.scenario" --wires /dev/full
  fails_with 1 'short: failed: *: cannot write /dev/full: No space left on device'
}

unwritable_recording() {
  run --play no-gpio --record "$work/nowhere/recorded.scenario"
  fails_with 1 "no-gpio: failed: cannot write $work/nowhere/recorded.scenario"
}

wrong_statement() {
  printf '# a comment\npress\nawait scren menu\n' >"$work/wrong.scenario"
  run --scenario "$work/wrong.scenario"
  fails_with 1 "wrong: failed: $work/wrong.scenario:3: expected \"screen\", \"output\", \"error\", \"script\" or \"frames\", but found \"scren\""
}

missing_scenario() {
  run --scenario "$work/none.scenario"
  fails_with 1 "none: failed: cannot read $work/none.scenario: No such file or directory"
}

# wrong_usage ARGUMENT...: checks that the simulator exits with status 2 and prints nothing except the error and the
# three lines of usage on standard error.
wrong_usage() {
  run "$@"
  [[ $status -eq 2 && ! -s $work/out && $(wc -l <"$work/err") -eq 4 && $(sed -n 2p "$work/err") == usage:* ]]
}

shows_help() {
  run --help
  [[ $status -eq 0 && ! -s $work/err && $(head -n 1 "$work/out") == usage:* ]]
}

# replace_script NAME TEXT: copies the scripts to $work/project and replaces one of the device's scripts.
replace_script() {
  rm -rf "$work/project"
  mkdir -p "$work/project"/{packaging,sim}
  cp -R "$scripts" "$work/project/sim/scripts"
  cp -R "$scripts/../../packaging"/{maker,scripts} "$work/project/packaging/"
  printf '#!/bin/bash\n%s\n' "$2" >"$work/project/packaging/scripts/$1"
}

# with_script NAME TEXT ARGUMENT...: runs the simulator with one of the device's scripts replaced.
with_script() {
  replace_script "$1" "$2"
  shift 2
  run --scripts "$work/project/sim/scripts" "$@"
}

format_that_writes() {
  # shellcheck disable=SC2016 # for the script to expand
  with_script format.sh 'echo >>"$DEVICE_ROOT/dev/memory"; exit 1' --play format-fails
  fails_with 1 'format-fails: failed: *internal memory*'
}

updater_that_ends() {
  run --updater "$(type -P true)"
  fails_with 1 'update: failed: *.scenario:*: the updater has ended: exit status 0'
}

missing_updater() {
  run --updater "$work/nothing"
  fails_with 1 '*: cannot use *nothing: No such file or directory'
}

no_temporary_folder() {
  TMPDIR=$work/nowhere run
  fails_with 1 'update: failed: cannot create a folder in *'
}

missing_tool() {
  local tool path=$PATH
  mkdir -p "$work/bin"
  for tool in bash openssl; do ln -sf "$(command -v "$tool")" "$work/bin/"; done
  PATH=$work/bin run
  PATH=$path fails_with 1 'update: failed: missing tool: mcopy (package mtools)'
}

full_output() {
  status=0
  "$simulator" --scenario "$work/short.scenario" >/dev/full 2>"$work/err" </dev/null || status=$?
  fails_with 1 'short: failed: *: cannot write to standard output'
}

# Checks that SIGINT ends the simulator while a script is running, and that the simulator prints no error. Uses job
# control, because without it a background job ignores SIGINT.
ends_by_signal() {
  set -m
  : >"$work/out"
  replace_script decrypt.sh 'exec sleep 1000'
  printf 'plug empty\nwait 100000000\n' >"$work/endless.scenario"
  "$simulator" --scenario "$work/endless.scenario" --scripts "$work/project/sim/scripts" </dev/null \
    >"$work/out" 2>"$work/err" &
  while ! grep -q decrypt.sh "$work/out" && kill -0 $!; do sleep 0.01; done
  kill -s INT $!
  status=0
  wait $! || status=$?
  [[ ! -s $work/err && $status -eq $((128 + $(kill -l INT))) ]] || { echo "exit status $status"; return 1; }
}

it "--help prints the usage" shows_help
it "replaying a recording saves the same scenario, screens, movie and lines" replays_a_recording
it "frames are saved with the names of known screens" saves_frames
it "--movie saves an animated picture" saves_a_movie
it "--wires records the levels of the lines in all power cycles" records_the_wires
it "a recording that cannot be written is reported in one line" unwritable_recording
it "a movie that cannot be written is reported in one line" unwritable_movie
it "the lines are recorded until the scenario fails" records_a_failure
it "at the limit, the recording of the lines ends, but not the run" limits_the_wires
it "the lines can be recorded into a pipe" pipes_the_wires
it "a pipe that is closed too early is reported in one line" pipe_without_reader
it "a failure to write the lines is reported in one line" unwritable_wires
it "a wrong statement is reported in one line, with file and line" wrong_statement
it "a missing scenario file is reported in one line" missing_scenario
it "an unknown option is a usage error" wrong_usage --fast
it "an unknown scenario is a usage error" wrong_usage --play chess
it "an invalid limit is a usage error" wrong_usage --wires-limit 2T
it "an option without a value is a usage error" wrong_usage --frames
it "\"expect memory unchanged\" fails if a script has changed the internal memory" format_that_writes
it "the default scenario is \"update\", which fails if the updater ends" updater_that_ends
it "a missing updater is reported in one line" missing_updater
it "a missing folder for temporary files is reported in one line" no_temporary_folder
it "a missing tool is reported in one line, with its package" missing_tool
it "a failure to write to standard output is reported in one line" full_output
it "SIGINT ends a scenario without leaving files" ends_by_signal
finish
