#!/bin/bash
# Downloads and unpacks the Debian packages of the emulated board; installs nothing.
# Usage: fetch_packages.sh FOLDER
# FOLDER/emulator        QEMU for this machine
# FOLDER/board           the board's kernel, programs and libraries, and the libraries of the unit tests (64-bit Arm)
# FOLDER/kernel_version  the version of the kernel
# Does nothing if FOLDER was filled by the same version of this script.
set -euo pipefail
export LC_ALL=C
# shellcheck source-path=SCRIPTDIR source=../support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/mirror.sh"

fail() {
    printf 'fetch_packages.sh: %s\n' "$1" >&2
    exit 1
}

readonly release=bookworm # of the board

# QEMU has emulated the board since version 9. On Debian 12 that version is in the backports; its dependencies come from
# the release itself.
emulator_suite=$(host_release)
[[ $emulator_suite != bookworm ]] || emulator_suite=bookworm-backports
readonly emulator_suite
readonly emulator_packages=(qemu-system-{arm,common,data}"/$emulator_suite")
readonly board_packages=(
    busybox-static
    openssl libssl3 libc6 zstd zlib1g liblzma5 liblz4-1 # this line and the next: for the example scripts
    e2fsprogs libext2fs2 libblkid1 libcom-err2 libuuid1 util-linux
    dmsetup libdevmapper1.02.1 libselinux1 libpcre2-8-0 libudev1 # for the tests of I/O errors
    libgtest-dev libgmock-dev librapidcheck-dev libpng-dev libpng16-16 zlib1g-dev # for the unit tests
)

# Also fetches the emulator's dependencies, except those that are installed on this machine.
fetch_emulator() {
    prepare_apt "$work/emulator" "$(dpkg --print-architecture)" "$(host_release)" "$emulator_suite"
    apt-get "${apt_options[@]}" -o Dir::State::status=/var/lib/dpkg/status --yes --download-only \
        --no-install-recommends --reinstall install "${emulator_packages[@]}" >/dev/null
    unpack_all "$work/emulator/cache/archives" "$work/done/emulator"
}

fetch_board() {
    local kernel
    prepare_apt "$work/board" arm64 "$release"
    kernel=$(apt-cache "${apt_options[@]}" show linux-image-arm64 |
        sed -n 's/^Depends: linux-image-\([^ ]*\).*/\1/p' | head -n 1)
    [[ -n $kernel ]] || fail "found no kernel for arm64 in Debian $release"
    mkdir "$work/board/archives"
    (cd "$work/board/archives" && apt-get "${apt_options[@]}" download "linux-image-$kernel" "${board_packages[@]}")
    unpack_all "$work/board/archives" "$work/done/board"
    printf '%s\n' "$kernel" >"$work/done/kernel_version"
}

begin_fetch "$@"
fetch_emulator
fetch_board
rm -rf -- "$folder"/{stamp,emulator,board,kernel_version}
mkdir -p "$folder"
mv -- "$work"/done/* "$folder/"
finish_fetch
