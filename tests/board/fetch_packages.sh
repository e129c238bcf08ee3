#!/bin/bash
# Fetches the Debian packages that the emulated board is made of and unpacks them; installs nothing.
# Usage: fetch_packages.sh FOLDER
# FOLDER/emulator gets a QEMU for this machine, FOLDER/board what the board runs and its unit tests link (64-bit Arm),
# FOLDER/kernel_version the kernel's. A folder that was filled by this very script is left as it is.
set -euo pipefail
export LC_ALL=C
# shellcheck source-path=SCRIPTDIR source=../support/mirror.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../support/mirror.sh"

fail() {
    printf 'fetch_packages.sh: %s\n' "$1" >&2
    exit 1
}

[[ $# -eq 1 ]] || fail "usage: fetch_packages.sh FOLDER"
readonly folder=$1
stamp=$(sha256sum "${BASH_SOURCE[0]}")
readonly stamp=${stamp%% *}
readonly release=bookworm # of the board

# QEMU emulates the board since version 9. On Debian 12 it comes from the backports; what it depends on does not.
emulator_suite=$(host_release)
[[ $emulator_suite != bookworm ]] || emulator_suite=bookworm-backports
readonly emulator_suite
readonly emulator_packages=(qemu-system-{arm,common,data}"/$emulator_suite")
readonly board_packages=(
    busybox-static
    openssl libssl3 libc6 # for the example scripts, as is the next line
    e2fsprogs libext2fs2 libblkid1 libcom-err2 libuuid1
    libgtest-dev libgmock-dev librapidcheck-dev libpng-dev libpng16-16 zlib1g-dev zlib1g # for the unit tests
)

# With what it depends on and this machine does not have.
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
    [[ -n $kernel ]] || fail "Debian $release has no kernel for arm64 here"
    mkdir "$work/board/archives"
    (cd "$work/board/archives" && apt-get "${apt_options[@]}" download "linux-image-$kernel" "${board_packages[@]}")
    unpack_all "$work/board/archives" "$work/done/board"
    printf '%s\n' "$kernel" >"$work/done/kernel_version"
}

[[ $(cat "$folder/stamp" 2>/dev/null) != "$stamp" ]] || exit 0
mirror=$(host_mirror)
mkdir -p "$folder"
work=$(realpath -- "$(mktemp -d -- "$folder/.work.XXXXXX")")
trap 'rm -rf -- "$work"' EXIT
fetch_emulator
fetch_board
rm -rf -- "$folder"/{stamp,emulator,board,kernel_version}
mv -- "$work"/done/* "$folder/"
printf '%s\n' "$stamp" >"$folder/stamp"
