#!/bin/bash
# Tests the unit, the device-tree overlay and the manual pages with systemd-analyze, dtc and mandoc.
set -uo pipefail

repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly repository work packaging=$repository/packaging
trap 'rm -rf -- "$work"' EXIT
cd "$work" || exit 1
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$repository/tests/support/cases.sh"

# silent COMMAND [ARGUMENT...]: fails unless the command succeeds and prints nothing.
silent() {
  "$@" >output 2>&1 || { cat output; return 1; }
  cat output
  [[ ! -s output ]]
}

# Verifies the unit in a root with stand-ins for the programs that it starts, and without its manual page.
unit_is_valid() {
  mkdir -p root/usr/{sbin,lib/systemd/system}
  ln -s usr/lib root/lib # systemd 257 does not search /lib
  install -m 755 /bin/true root/usr/sbin/tonecrate-updater
  install -D -m 755 /bin/true root/bin/udevadm
  cp "$packaging/tonecrate-updater.service" root/usr/lib/systemd/system/
  cp /lib/systemd/system/{basic,sysinit,shutdown,local-fs,network,time-set,initrd-switch-root}*.target \
    /lib/systemd/system/*.slice /lib/systemd/system/modprobe@.service root/usr/lib/systemd/system/ 2>/dev/null || true
  silent systemd-analyze verify --man=no --recursive-errors=no --root="$PWD/root" tonecrate-updater.service
}

# The exposure level is 0 with all of systemd's restrictions and 10 with none. The threshold is ten times the level.
exposure_is_low() {
  systemd-analyze security --offline=true --threshold=20 "$packaging/tonecrate-updater.service"
}

base_tree() {
  cat <<'END'
/dts-v1/;
/ {
  aliases { };
  soc {
    gpio: gpio@7e200000 { phandle = <15>; #gpio-cells = <2>; };
    spi@7e204000 { status = "disabled"; };
    i2c@7e804000 { status = "disabled"; };
  };
};
END
}

overlay_applies() {
  silent dtc -@ -I dts -O dtb -o overlay.dtbo "$packaging/tonecrate-overlay.dts"
  base_tree >base.dts
  dtc -q -@ -I dts -O dtb -o base.dtb base.dts
  fdtoverlay -i base.dtb -o board.dtb overlay.dtbo
  [[ $(fdtget board.dtb /soc/spi@7e204000 status) == okay ]]
  [[ $(fdtget board.dtb /soc/spi@7e204000/display@0 reg) == 0 ]]
  [[ $(fdtget board.dtb "$(fdtget board.dtb /aliases i2c22)" status) == okay ]]
  [[ $(fdtget board.dtb /soc/spi@7e204000 cs-gpios) == "15 8 1" ]]
  [[ $(fdtget board.dtb /rotary-encoder gpios) == "15 23 1 15 24 1" ]]
}

# override NAME: prints the cells that a parameter replaces, as PROPERTY:OFFSET.
override() {
  printf '%b' "$(fdtget -t bx overlay.dtbo /__overrides__ "$1" | sed 's/\([0-9a-f]*\) */\\x\1/g')" |
    tr -c '[:print:]' '\n' | sed '/^$/d' | paste -sd ' '
}

# dtoverlay=tonecrate,line_a=17 replaces the cells at the offsets of line_a. The test checks that these cells contain
# the default line number.
overlay_has_parameters() {
  dtc -q -@ -I dts -O dtb -o overlay.dtbo "$packaging/tonecrate-overlay.dts"
  [[ $(fdtget overlay.dtbo /fragment@4/__overlay__/rotary-encoder gpios | cut -d ' ' -f 2,5) == "23 24" ]]
  [[ $(fdtget overlay.dtbo /fragment@0/__overlay__/tonecrate-encoder-lines brcm,pins) == "23 24" ]]
  [[ $(override line_a) == "gpios:4 brcm,pins:0" ]]
  [[ $(override line_b) == "gpios:16 brcm,pins:4" ]]
}

it "systemd-analyze verify accepts the unit" unit_is_valid
it "the unit has an exposure level of at most 2.0" exposure_is_low
it "the overlay compiles without warnings and enables SPI, I2C bus 22 and the encoder" overlay_applies
it "the encoder's lines are parameters of the overlay" overlay_has_parameters
it "mandoc -T lint accepts the manual pages" silent mandoc -T lint "$packaging"/*.[18]
finish
