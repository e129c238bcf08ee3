# Sourced by tests that are shell scripts: runs their cases, and tells and counts what becomes of them. Wants a folder
# for its log in $work.
# shellcheck shell=bash disable=SC2154 # work is of those who source this
passed=0 failed=0

# What each case runs in; a test may define it anew.
around_case() {
  "$@"
}

# it SENTENCE FUNCTION [ARGUMENT...]: any failing command of the function fails it.
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

# The last command of a test.
finish() {
  echo "$passed passed, $failed failed"
  [[ $failed -eq 0 ]]
}
