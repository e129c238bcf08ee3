#!/bin/bash
# Tests that decrypt.sh rejects damaged, wrongly signed and malicious firmware files.
set -uo pipefail
# shellcheck source=fixture.sh
. "$(dirname "${BASH_SOURCE[0]}")/fixture.sh"
# shellcheck source=../../support/container_cases.sh
. "$repository/tests/support/container_cases.sh"
readonly device_root=$DEVICE_ROOT drive=/dev/sda

wrong_decryption_key() {
  openssl rand -hex -out "$DEVICE_ROOT/etc/tonecrate/firmware.key" 32
  plug_partitioned "$work/drive.img"
  expect 3 decrypt.sh /dev/sda1
}

make_fixtures
container_cases
it "decrypt exits 3 with a wrong decryption key" wrong_decryption_key
finish
