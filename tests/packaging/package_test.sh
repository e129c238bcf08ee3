#!/bin/bash
# Installs, runs, removes and purges the package in an arm64 system, under QEMU's user emulation.
# Usage: package_test.sh PACKAGE.deb CACHE   (needs root; CACHE: folder in which the base system is kept)
set -uo pipefail

[[ $# -eq 2 ]] || { echo "usage: package_test.sh PACKAGE.deb CACHE" >&2; exit 2; }
[[ $EUID -eq 0 ]] || { echo "package_test.sh: needs root" >&2; exit 1; }
mkdir -p "$2" || exit 1
package=$(realpath -- "$1")
cache=$(realpath -- "$2")
base=$cache/base
work=$(mktemp -d) || exit 1
readonly package cache base work
namespace_process=
trap '[[ -z $namespace_process ]] || kill "$namespace_process"; rm -rf --one-file-system -- "$work"' EXIT
PATH=$PATH:/usr/sbin:/sbin
# shellcheck source-path=SCRIPTDIR source=../support/cases.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/cases.sh"
# shellcheck source-path=SCRIPTDIR source=../support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/mirror.sh"

# binfmt_misc handlers belong to a user namespace, so the machine's own handlers do not change.
start_namespace() {
  unshare --user sleep infinity &
  namespace_process=$!
  until [[ $(readlink "/proc/$namespace_process/ns/user") != "$(readlink /proc/self/ns/user)" ]]; do sleep 0.01; done
  echo "0 0 65536" >"/proc/$namespace_process/uid_map"
  echo "0 0 65536" >"/proc/$namespace_process/gid_map"
}

# in_arm64 FOLDER COMMAND [ARGUMENT...]: runs a command in the arm64 system in FOLDER.
in_arm64() {
  # shellcheck disable=SC2016 # for the inner shell
  nsenter --user --target "$namespace_process" unshare --mount --propagation private sh -euc '
    mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
    cat /usr/lib/binfmt.d/qemu-aarch64.conf >/proc/sys/fs/binfmt_misc/register
    mount --rbind /dev "$1/dev"
    mount --rbind /proc "$1/proc"
    root=$1
    shift
    exec env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin container=lxc DEBIAN_FRONTEND=noninteractive \
      /usr/sbin/chroot "$root" "$@"' sh "$@" </dev/null
}

# make_base: creates a minimal Debian with the program's libraries, once. Uses this machine's release, because a program
# needs libraries at least as new as at build time.
make_base() {
  [[ ! -e $cache/complete ]] || return 0
  rm -rf --one-file-system -- "$base"
  local mirror
  mirror=$(host_mirror) &&
    debootstrap --foreign --arch=arm64 --variant=minbase --include=libstdc++6 "$(host_release)" "$base" "$mirror" &&
    in_arm64 "$base" /debootstrap/debootstrap --second-stage && touch "$cache/complete"
}

files() {
  (cd "$work/system" && find . -xdev \( -path ./var -o -path ./proc -o -path ./dev -o -path ./tmp \) -prune -o -print | sort)
}

installs() {
  files >"$work/files.before"
  cp "$package" "$work/system/tmp/package.deb"
  in_arm64 "$work/system" dpkg --install /tmp/package.deb
  [[ -x $work/system/usr/sbin/tonecrate-updater ]]
}

leaves_scripts_alone() {
  [[ -z $(find "$work/system/usr/sbin" -name '*crypt.sh' -o -name 'format.sh' -o -name 'install.sh') ]]
}

starts_nothing() {
  [[ -z $(find "$work/system/etc/systemd" -name '*tonecrate*') ]]
  [[ $(dpkg-deb --ctrl-tarfile "$package" | tar -t | sort) == $'./control\n./md5sums' ]]
}

# Without the board's devices the program reports /dev/mem and is killed by SIGSEGV, as documented in docs/device.md.
runs_without_devices() {
  local status=0
  # shellcheck disable=SC2016 # for the inner shell
  in_arm64 "$work/system" sh -c 'mount -t tmpfs tmpfs /dev && exec tonecrate-updater' >"$work/out" 2>"$work/err" || status=$?
  cat "$work/out" "$work/err"
  [[ $status -eq 139 && $(cat "$work/out") == "Starting updater..." ]]
  grep -qx "can't open /dev/mem! Make sure you are root!" "$work/err"
}

removes() {
  in_arm64 "$work/system" dpkg --remove tonecrate-updater
  in_arm64 "$work/system" dpkg --purge tonecrate-updater
  files >"$work/files.after"
  diff "$work/files.before" "$work/files.after"
}

start_namespace
make_base >"$cache/log" 2>&1 || { echo "package_test.sh: cannot create the arm64 system, see $cache/log" >&2; exit 1; }
cp -a "$base" "$work/system" || exit 1
it "the package installs with its dependencies" installs
it "the package does not replace the device's scripts" leaves_scripts_alone
it "the package starts and enables no service" starts_nothing
it "the program reports the missing devices" runs_without_devices
it "removal and purge leave no files" removes
finish
