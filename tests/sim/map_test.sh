#!/bin/bash
# Tests the map of the screens and the programs that create it.
# Usage: map_test.sh EXPLORER [complete]
#   EXPLORER   the program that explores the updater
#   complete   explores the whole updater and compares the map, which takes half a minute
set -uo pipefail
project=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly project work explorer=$1
trap 'rm -rf -- "$work"' EXIT
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$project/tests/support/cases.sh"

# Compares only the text. The pictures need no comparison, because the name of a screen is derived from the golden
# screen that shows the same picture.
map_is_current() {
  "$explorer" "$work/map"
  diff -u "$project/docs/screen_map.txt" "$work/map/screen_map.txt" || { echo "run ./dev map" && return 1; }
}

every_screen_has_a_name() {
  ! grep '^screen-' "$project/docs/screen_map.txt"
}

# The drawing has a title for every screen, and one for every pair of screens that an arrow connects.
drawing_is_current() {
  diff <(awk '!/^ / { screen = $0; print screen } / -> / { print screen "->" $NF }' "$project/docs/screen_map.txt" |
    sort -u) <(sed -n 's/&#45;/-/g; s/&gt;/>/g; s|^<title>\([^ %]*\)</title>$|\1|p' "$project/docs/screen_map.svg" | sort)
}

# refuses PATTERN COMMAND...: checks that a command fails and prints nothing except one line on standard error, which
# matches PATTERN.
refuses() {
  local status=0
  "${@:2}" >"$work/out" 2>"$work/err" || status=$?
  # shellcheck disable=SC2053 # a pattern
  [[ $status -ne 0 && ! -s $work/out && $(wc -l <"$work/err") -eq 1 && $(cat "$work/err") == $1 ]] ||
    { cat "$work/err" && return 1; }
}

malformed_map() {
  mkdir -p "$work/malformed"
  printf 'waiting\n  plug\n' >"$work/malformed/screen_map.txt"
  refuses 'draw_map: *screen_map.txt:2: expected a screen, or an arrow below a screen' \
    "$project/tools/draw_map.py" "$work/malformed" "$work/drawing"
  [[ ! -e $work/drawing.svg ]]
}

if [[ ${2:-} == complete ]]; then
  it "the map contains exactly the screens and arrows of the running program" map_is_current
  finish
  exit
fi
it "every screen of the map is a golden screen" every_screen_has_a_name
it "the drawing contains every screen and arrow of the map" drawing_is_current
it "the explorer prints its usage if the argument is missing" refuses 'usage: tonecrate-map FOLDER' "$explorer"
it "the explorer reports a folder that it cannot create" refuses 'tonecrate-map: *' "$explorer" /dev/null/map
it "draw_map prints its usage if the arguments are missing" refuses 'draw_map: usage: *' "$project/tools/draw_map.py"
it "draw_map reports a malformed map with file and line" malformed_map
finish
