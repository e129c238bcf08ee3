#!/bin/bash
# Tests the decoder as a program: exit status, captures from files, FIFOs and standard input, other formats through
# sigrok-cli, failures, signals and memory use.
# Usage: decode_program_test.sh DECODER CAPTURE_WRITER
set -uo pipefail

decoder=$1 writer=$2
work=$(mktemp -d) || exit 1
trap 'rm -rf -- "$work"' EXIT
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/cases.sh"

# Each case runs in an empty folder and must leave no temporary folders.
around_case() {
  rm -rf "$work/folder"
  mkdir "$work/folder"
  cd "$work/folder"
  "$@"
  no_temporary_folders
}

no_temporary_folders() {
  [[ -z $(find . -name '*.part-*') ]] || { echo "not removed: $(find . -name '*.part-*')"; return 1; }
}

"$writer" 4 >"$work/good.vcd"

# run ARGUMENT...: runs the decoder with its output in $work/out and $work/err and its exit status in $status.
run() {
  status=0
  "$decoder" "$@" >"$work/out" 2>"$work/err" || status=$?
}

passes() {
  cat "$work/out" "$work/err"
  [[ $status -eq 0 && ! -s $work/err && $(tail -n 1 "$work/out") == "Passed. The folder "* ]]
}

# fails_with PATTERN: succeeds if the last run exited with status 1 and printed only one line on standard error, which
# matches PATTERN.
fails_with() {
  cat "$work/err"
  # shellcheck disable=SC2053 # a pattern
  [[ $status -eq 1 && $(wc -l <"$work/err") -eq 1 && $(cat "$work/err") == $1 ]] || { echo "exit status $status"; return 1; }
}

decodes_a_file() {
  run "$work/good.vcd"
  passes
  [[ $(find good-decoded -name '*.png' | wc -l) -eq 4 && -s good-decoded/log.txt ]]
  diff "$work/out" good-decoded/report.txt
}

decodes_a_fifo() {
  mkfifo pipe.vcd
  cat "$work/good.vcd" >pipe.vcd &
  run pipe.vcd
  passes && [[ -d pipe-decoded ]]
}

decodes_standard_input() {
  run - <"$work/good.vcd"
  passes && [[ -d capture-decoded ]]
}

fails_without_what_is_expected() {
  run "$work/good.vcd" --expect screen "done"
  [[ $status -eq 1 && ! -s $work/err && $(tail -n 1 "$work/out") == "Failed. "* ]]
}

damaged_file() {
  head -c 1000000 "$work/good.vcd" >cut.vcd
  printf '?' >>cut.vcd
  run cut.vcd
  fails_with "tonecrate-decode: cut.vcd:*: *"
  [[ $(tail -n 1 "$work/out") == "Failed. "* && -s cut-decoded/log.txt ]]
}

# The file names of the screens contain times in microseconds. Sampling with a period of 20 ns moves none of these times
# into another microsecond, so the names are equal in both folders.
session_file() {
  sigrok-cli -i "$work/good.vcd" -I vcd:downsample=20 -o -session:1.sr
  run ./-session:1.sr --output session
  passes
  run "$work/good.vcd" --output file
  passes
  diff -r --exclude='*.txt' session file
}

damaged_session_file() {
  sigrok-cli -i "$work/good.vcd" -I vcd:downsample=20 -o good.sr
  head -c 2000 good.sr >cut.sr
  run cut.sr
  fails_with "tonecrate-decode: cut.sr:1: not a VCD file, and sigrok-cli cannot read it: *"
}

without_sigrok() {
  printf 'PK\003\004' >capture.sr
  status=0
  PATH=$work "$decoder" capture.sr >"$work/out" 2>"$work/err" || status=$?
  fails_with "tonecrate-decode: capture.sr:1: not a VCD file; to read other formats, install sigrok-cli"
}

other_format_on_standard_input() {
  run - < <(printf 'PK\003\004')
  fails_with "tonecrate-decode: standard input:1: not a VCD file; sigrok-cli can convert other formats only from a file"
}

# fails_to_read FILE MESSAGE
fails_to_read() {
  : >empty.vcd
  run "$1"
  fails_with "tonecrate-decode: $2"
}

foreign_folder() {
  mkdir results
  : >results/notes.txt
  run "$work/good.vcd" --output results
  fails_with "tonecrate-decode: will not replace results: it contains notes.txt, which is not a result of this program"
  [[ -e results/notes.txt ]]
}

full_output() {
  status=0
  "$decoder" "$work/good.vcd" >/dev/full 2>"$work/err" || status=$?
  fails_with "tonecrate-decode: cannot write to standard output"
}

# wrong_usage ARGUMENT...
wrong_usage() {
  run "$@"
  cat "$work/err"
  [[ $status -eq 2 && ! -s $work/out && $(sed -n 2p "$work/err") == usage:* ]]
}

shows_help() {
  run --help
  [[ $status -eq 0 && ! -s $work/err && $(head -n 1 "$work/out") == usage:* ]]
}

# ends_by_signal SIGNAL: sends SIGNAL to the decoder while it waits for data from a FIFO. Uses job control, because
# without it a background job ignores SIGINT.
ends_by_signal() {
  set -m
  mkfifo pipe.vcd
  "$decoder" pipe.vcd >"$work/out" 2>"$work/err" &
  exec 3>pipe.vcd
  head -c 100000 "$work/good.vcd" >&3
  while [[ -z $(find . -name '*.part-*') ]] && kill -0 $!; do sleep 0.01; done
  kill -s "$1" $!
  status=0
  wait $! || status=$?
  [[ ! -s $work/err && $status -eq $((128 + $(kill -l "$1"))) ]] || { echo "exit status $status"; return 1; }
}

# largest_memory FRAMES: prints the peak memory use of decoding a capture with FRAMES frames, in kilobytes.
largest_memory() {
  "$writer" "$1" | python3 -c 'import resource, subprocess, sys
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)' "$decoder" -
}

needs_constant_memory() {
  local few many
  few=$(largest_memory 10)
  many=$(largest_memory 50)
  echo "$few kB for 10 frames, $many kB for 50 frames"
  ((many < 100000 && many < few + 3000))
}

it "a capture is decoded into a folder named after the capture" decodes_a_file
it "a FIFO is decoded" decodes_a_fifo
it "standard input is decoded" decodes_standard_input
it "the exit status is 1 if an expected screen is missing" fails_without_what_is_expected
it "a damaged capture is decoded up to the damage, which is reported in one line" damaged_file
it "a sigrok session file whose name contains a dash and a colon yields the same screens as the VCD file" session_file
it "a damaged session file is reported in one line" damaged_session_file
it "a missing sigrok-cli is reported in one line" without_sigrok
it "standard input in a format other than VCD is reported in one line" other_format_on_standard_input
it "a missing file is reported in one line" fails_to_read none.vcd "cannot read none.vcd: No such file or directory"
it "a folder instead of a capture is reported in one line" fails_to_read . "cannot read .: Is a directory"
it "an empty file is reported in one line" fails_to_read empty.vcd "empty.vcd: the capture is empty"
it "an output folder is not replaced if it contains a file that is not a result" foreign_folder
it "a failure to write to standard output is reported in one line" full_output
it "--help prints the usage" shows_help
it "a missing capture argument is a usage error" wrong_usage
it "an unknown option is a usage error" wrong_usage capture.vcd --fast
it "an unknown golden screen is a usage error" wrong_usage capture.vcd --expect screen chess
it "SIGINT ends the decoder without leaving a temporary folder" ends_by_signal INT
it "SIGTERM ends the decoder without leaving a temporary folder" ends_by_signal TERM
it "memory use does not grow with the size of the capture" needs_constant_memory
finish
