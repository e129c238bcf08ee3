#!/bin/bash
# Checks that the updater for the device is hardened: reads its ELF headers, and the functions that its objects call.
# Usage: hardening_test.sh BUILD...   (build folders of the presets `device` and `device-static`)
set -uo pipefail

[[ $# -gt 0 ]] || { echo "usage: hardening_test.sh BUILD..." >&2; exit 2; }
work=$(mktemp -d) || exit 1
readonly work
trap 'rm -rf -- "$work"' EXIT
export LC_ALL=C
# shellcheck source=../support/cases.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/cases.sh"

# has PATTERN READELF_OPTION: checks that readelf prints a line that matches the extended regular expression.
has() {
  readelf --wide "$2" "$program" >output
  grep -E "$1" output || { cat output; return 1; }
}

position_independent() {
  has '^ *Type: +DYN ' --file-header
  has 'FLAGS_1.*\bPIE\b' --dynamic
}

relocations_read_only() {
  has '^ *GNU_RELRO ' --program-headers
  has 'FLAGS_1.*\bNOW\b' --dynamic
}

stack_not_executable() {
  has '^ *GNU_STACK .* RW +0x' --program-headers
}

# objects_call PATTERN: checks that an object of the product calls a function that matches the extended regular
# expression. Reads the objects because the program is stripped.
objects_call() {
  find "$build"/{app,graphics,hw,updater,widgets} -name '*.o' -exec readelf --wide --symbols {} + >symbols
  grep -E -q " UND ($1)\$" symbols
}

mapfile -t builds < <(realpath -- "$@")
cd "$work" || exit 1
for build in "${builds[@]}"; do
  program=$build/app/tonecrate-updater
  name=${build##*/}
  it "$name: the program is position-independent" position_independent
  it "$name: relocations are resolved at start and then read-only" relocations_read_only
  it "$name: the stack is not executable" stack_not_executable
  it "$name: the objects call the stack protector" objects_call __stack_chk_fail
  it "$name: the objects call C library functions that check the size of a buffer" objects_call '__[a-z]+_chk'
done
finish
