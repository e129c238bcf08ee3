# Sourced by tests that are shell scripts: runs, reports and counts their cases. Writes a case's output to $work/log.
# shellcheck shell=bash disable=SC2154 # the sourcing script sets work
passed=0 failed=0

# Runs one case. A test may redefine it to set up before the case and clean up after it.
around_case() {
  "$@"
}

# it SENTENCE FUNCTION [ARGUMENT...]: runs a case in a subshell with `set -e`, so the case fails at the first
# command that fails.
it() {
  local sentence=$1 outcome
  shift
  (
    set -e
    around_case "$@"
  ) >"$work/log" 2>&1
  outcome=$?
  if [[ $outcome -eq 0 ]]; then
    passed=$((passed + 1))
    echo "ok - $sentence"
  else
    failed=$((failed + 1))
    echo "not ok - $sentence"
    sed 's/^/    /' "$work/log"
  fi
}

# Prints the totals. Must be the last command of a test, because the test exits with its status.
finish() {
  echo "$passed passed, $failed failed"
  [[ $failed -eq 0 ]]
}
