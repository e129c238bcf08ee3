#!/bin/bash
# Tests that format.sh keeps the presets when it should, and the whole memory when it fails.
set -uo pipefail
# shellcheck source=kit.sh
. "$(dirname "${BASH_SOURCE[0]}")/kit.sh"

whole_update() {
  plug_drive
  expect 0 decrypt.sh /dev/sda1
  [[ $(cat "$root/tmp/fw/version.txt") == 2.0.0 ]]
  [[ $(cat "$root/tmp/fw/version.old.txt") == 1.4.2 ]]
  expect 0 format.sh 0
  expect 0 install.sh
  verify "$user_presets"
}

it "an update keeps the presets" whole_update
finish
