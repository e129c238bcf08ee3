# Sourced by the tests in this folder: creates minimal Debian systems and runs commands in them. Needs root.
# shellcheck shell=bash
PATH=$PATH:/usr/sbin:/sbin
# shellcheck source=tests/support/mirror.sh
. tests/support/mirror.sh
# shellcheck source=tools/steps.sh
. tools/steps.sh

# release_name RELEASE: prints the codename of a release. RELEASE: the codename or the number. Fails if debootstrap does
# not support the release.
release_name() {
  local name
  name=$(awk -F, -v release="$1" '$1 == release { print $3 }' /usr/share/distro-info/debian.csv)
  name=${name:-$1}
  [[ $name =~ ^[a-z]+$ && -e /usr/share/debootstrap/scripts/$name ]] || die "unknown release $1"
  printf '%s\n' "$name"
}

# Both tests compile the same files, in /tonecrate and with the same options: on the same release, the test that runs
# second takes the object files from the cache.
readonly environment=(TONECRATE_WARNINGS_AS_ERRORS="${TONECRATE_WARNINGS_AS_ERRORS:-}" CCACHE_DIR=/ccache
  CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_SLOPPINESS="pch_defines,time_macros")

# make_base NAME FILE: creates FILE, an archive of a minimal system with ccache, if it does not exist.
make_base() {
  [[ ! -e $2 ]] || return 0
  local folder=$2.root mirror
  mirror=$(host_mirror) || exit 1
  rm -rf --one-file-system -- "$folder" && mkdir -p "$folder"
  step "Creating a minimal $1" unpack_base "$1" "$folder" "$mirror" "$2"
}

# unpack_base NAME FOLDER MIRROR FILE: creates the system in FOLDER, archives it in FILE, and removes FOLDER.
# debootstrap runs in a private mount namespace, so its mounts disappear when it exits.
unpack_base() {
  unshare --mount --propagation private debootstrap --variant=minbase --include=ccache "$1" "$2" "$3" &&
    rm -f "$2"/var/cache/apt/archives/*.deb &&
    tar --create --file="$4.new" --directory="$2" --numeric-owner . && mv "$4.new" "$4" &&
    rm -rf --one-file-system -- "$2"
}

# in_root ROOT CACHE COMMAND [ARGUMENT...]: runs a command in the system in ROOT. The command has private namespaces, so
# its processes and mounts disappear when it exits. CACHE: folder of the compiler cache.
in_root() {
  # shellcheck disable=SC2016 # for the inner shell
  unshare --mount --pid --fork --kill-child --propagation private sh -euc '
    root=$1 cache=$2
    shift 2
    mkdir -p "$root/ccache"
    mount --bind "$root" "$root" # tests can create mount namespaces only if the root is a mount point
    mount --bind "$cache" "$root/ccache"
    mount --rbind /dev "$root/dev"
    mount --rbind /sys "$root/sys"
    mount -t proc proc "$root/proc"
    cat /etc/resolv.conf >"$root/etc/resolv.conf"
    cat /etc/hosts >"$root/etc/hosts"
    exec chroot "$root" env -i HOME=/root TERM="${TERM:-dumb}" ${http_proxy:+"http_proxy=$http_proxy"} \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"' sh "$1" "$2" "${environment[@]}" "${@:3}"
}
