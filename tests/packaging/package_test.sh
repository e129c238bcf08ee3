#!/bin/bash
# Installs, runs, removes and purges the packages in an arm64 system, under QEMU's user emulation.
# Usage: package_test.sh FOLDER CACHE   (needs root; FOLDER contains the packages, CACHE keeps the base system)
set -uo pipefail

[[ $# -eq 2 ]] || { echo "usage: package_test.sh FOLDER CACHE" >&2; exit 2; }
[[ $EUID -eq 0 ]] || { echo "package_test.sh: needs root" >&2; exit 1; }
mkdir -p "$2" || exit 1
packages=$(realpath -- "$1")
cache=$(realpath -- "$2")
base=$cache/base
repository=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
work=$(mktemp -d) || exit 1
readonly packages cache base repository work
readonly names=(tonecrate-updater tonecrate-updater-scripts tonecrate-maker)
readonly settings=etc/tonecrate/updater.conf
trap 'end_namespace; rm -rf --one-file-system -- "$work"' EXIT
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/cases.sh"
# shellcheck source-path=SCRIPTDIR source=../support/arm64.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/arm64.sh"

files() {
  (cd "$work/system" && find . -xdev \( -path ./var -o -path ./proc -o -path ./dev -o -path ./run -o -path ./tmp \) \
    -prune -o -print | sort)
}

# package NAME: prints the path of the package.
package() {
  printf '%s\n' "$packages/$1"_*.deb
}

# install_packages NAME...
install_packages() {
  local name
  for name in "$@"; do
    cp "$(package "$name")" "$work/system/tmp/$name.deb"
  done
  in_arm64 "$work/system" sh -c 'cd /tmp && exec dpkg --install "$@"' sh "${@/%/.deb}"
}

updater_installs() {
  files >"$work/files.before"
  install_packages tonecrate-updater
  [[ -x $work/system/usr/sbin/tonecrate-updater ]]
}

# Derives the dependencies from the arm64 system, because the cross compiler's C library has no dpkg symbols file.
declares_the_needed_library_versions() {
  local library file options=()
  for library in libc6 libgcc-s1 libstdc++6; do
    mkdir -p "$work/$library/DEBIAN"
    cp "$base/var/lib/dpkg/info/$library:arm64.symbols" "$work/$library/DEBIAN/symbols"
    while read -r file; do
      install -D "$base$file" "$work/$library$file"
    done < <(grep '\.so\.[0-9]*$' "$base/var/lib/dpkg/info/$library:arm64.list")
    options+=("-S$work/$library")
  done
  mkdir "$work/debian"
  printf 'Source: program\n\nPackage: program\nArchitecture: any\n' >"$work/debian/control"
  cd "$work"
  DEB_HOST_ARCH=arm64 dpkg-shlibdeps "${options[@]}" -O "$work/system/usr/sbin/tonecrate-updater" >needed
  diff <(echo "shlibs:Depends=$(dpkg-deb --field "$(package tonecrate-updater)" Depends)") needed
}

leaves_scripts_alone() {
  [[ -z $(find "$work/system/usr/sbin" -name '*crypt.sh' -o -name 'format.sh' -o -name 'install.sh') ]]
}

starts_nothing() {
  [[ -z $(find "$work/system/etc/systemd" -name '*tonecrate*') ]]
  [[ $(dpkg-deb --ctrl-tarfile "$(package tonecrate-updater)" | tar -t | sort | paste -sd ' ') == \
    "./control ./md5sums ./postinst ./postrm ./prerm" ]]
}

# Without the board's devices the program reports that it cannot open /dev/mem, and is killed by SIGSEGV, as documented
# in docs/device.md.
runs_without_devices() {
  local status=0
  # shellcheck disable=SC2016 # for the inner shell
  in_arm64 "$work/system" sh -c 'mount -t tmpfs tmpfs /dev && exec tonecrate-updater' >"$work/out" 2>"$work/err" ||
    status=$?
  cat "$work/out" "$work/err"
  [[ $status -eq 139 && $(cat "$work/out") == "Starting updater..." ]]
  grep -qx "can't open /dev/mem! Make sure you are root!" "$work/err"
}

scripts_install() {
  local script
  install_packages tonecrate-updater-scripts
  for script in decrypt format install; do
    cmp "$work/system/usr/sbin/$script.sh" "$repository/packaging/scripts/$script.sh"
    [[ -x $work/system/usr/sbin/$script.sh ]]
  done
  diff "$work/system/$settings" "$repository/packaging/scripts/updater.conf"
}

scripts_run() {
  local status=0
  in_arm64 "$work/system" decrypt.sh /dev/null >"$work/out" 2>&1 || status=$?
  cat "$work/out"
  [[ $status -eq 4 ]] && grep -x 'SHOW: Failed: signing.pub is missing' "$work/out"
}

settings_survive_reinstallation() {
  echo '# changed' >>"$work/system/$settings"
  install_packages tonecrate-updater-scripts
  tail -n 1 "$work/system/$settings" | grep -x '# changed'
}

# The repository's command also verifies the firmware file that the installed commands make.
commands_run() {
  install_packages tonecrate-maker
  cp -R "$repository/sim/firmware" "$work/system/tmp/firmware"
  in_arm64 "$work/system" tonecrate-make-keys /tmp/keys
  in_arm64 "$work/system" tonecrate-pack-firmware /tmp/firmware 2.0.0 /tmp/keys /tmp/tonecrate.fw
  in_arm64 "$work/system" tonecrate-inspect-firmware /tmp/tonecrate.fw
  in_arm64 "$work/system" tonecrate-verify-firmware /tmp/tonecrate.fw /tmp/keys
  "$repository/packaging/maker/tonecrate-verify-firmware" "$work/system/tmp/tonecrate.fw" "$work/system/tmp/keys"
}

removes() {
  in_arm64 "$work/system" dpkg --remove "${names[@]}"
  in_arm64 "$work/system" dpkg --purge "${names[@]}"
  files >"$work/files.after"
  diff "$work/files.before" "$work/files.after"
}

start_namespace
make_arm64_base "$base" libstdc++6 openssl zstd >"$cache/log" 2>&1 ||
  { echo "package_test.sh: cannot create the arm64 system, see $cache/log" >&2; exit 1; }
cp -a "$base" "$work/system" || exit 1
it "the updater's package installs with its dependencies" updater_installs
it "the updater's package depends on the library versions that the program needs" declares_the_needed_library_versions
it "the updater's package installs none of the device's scripts" leaves_scripts_alone
it "the updater's package enables no service and has no unexpected control files" starts_nothing
it "without devices the program reports that it cannot open /dev/mem" runs_without_devices
it "the scripts' package installs the scripts and their settings" scripts_install
it "the installed decrypt.sh runs and reports that a key is missing" scripts_run
it "reinstalling the scripts' package keeps changed settings" settings_survive_reinstallation
it "the maker's commands make and verify a firmware file" commands_run
it "removal and purge leave no files" removes
finish
