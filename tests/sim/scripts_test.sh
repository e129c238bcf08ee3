#!/bin/bash
# Runs all tests of the device's scripts and of the tools around them; as root, a second time without root.
set -uo pipefail

tests=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/scripts")
output=$(mktemp) || exit 1
readonly tests output nobody=65534
trap 'rm -f -- "$output"' EXIT

# run_all [COMMAND...]: runs every test file, behind COMMAND when there is one.
run_all() {
  local test
  for test in "$tests"/*_test.sh; do
    echo "# ${test##*/}${1:+ without root}"
    # The folder that root started in may be closed to others.
    (cd / && "$@" "$test") || echo "not ok - ${test##*/} passes"
  done
}

{
  run_all
  [[ $(id -u) -ne 0 ]] || run_all setpriv --reuid="$nobody" --regid="$nobody" --clear-groups env TMPDIR=/tmp
} | grep -v ' passed, [0-9]* failed$' | tee "$output"

passed=$(grep -c '^ok - ' "$output") failed=$(grep -c '^not ok - ' "$output")
echo "$passed passed, $failed failed"
[[ $passed -gt 0 && $failed -eq 0 ]]
