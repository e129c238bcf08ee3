# Sourced by scripts that run commands in a Debian system for 64-bit Arm, under QEMU's user emulation. Needs root.
# shellcheck shell=bash
PATH=$PATH:/usr/sbin:/sbin
# shellcheck source-path=SCRIPTDIR source=mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/mirror.sh"
namespace_process=

# Creates the user namespace for in_arm64. binfmt_misc handlers belong to a user namespace, so the machine's handlers do
# not change. The script must call end_namespace at its end.
start_namespace() {
  unshare --user sleep infinity &
  namespace_process=$!
  until [[ $(readlink "/proc/$namespace_process/ns/user") != "$(readlink /proc/self/ns/user)" ]]; do sleep 0.01; done
  echo "0 0 65536" >"/proc/$namespace_process/uid_map"
  echo "0 0 65536" >"/proc/$namespace_process/gid_map"
}

end_namespace() {
  [[ -z $namespace_process ]] || kill "$namespace_process"
}

# in_arm64 FOLDER COMMAND [ARGUMENT...]: runs a command in the system in FOLDER. Call start_namespace first.
in_arm64() {
  # shellcheck disable=SC2016 # the inner shell expands the variables
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

# make_arm64_base FOLDER PACKAGE...: creates a minimal Debian with the given packages in FOLDER, unless FOLDER already
# contains this release with these packages. Uses this machine's release, because programs built on this machine need
# libraries at least as new as this machine's.
make_arm64_base() {
  local folder=$1 release mirror packages
  shift
  release=$(host_release)
  packages="$release $*"
  [[ $(cat "$folder.packages" 2>/dev/null) != "$packages" ]] || return 0
  rm -rf --one-file-system -- "$folder" "$folder.packages"
  mirror=$(host_mirror) &&
    debootstrap --foreign --arch=arm64 --variant=minbase --include="$(IFS=,; echo "$*")" "$release" "$folder" "$mirror" &&
    in_arm64 "$folder" /debootstrap/debootstrap --second-stage &&
    rm -f "$folder"/var/cache/apt/archives/*.deb && echo "$packages" >"$folder.packages"
}
