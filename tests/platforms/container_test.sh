#!/bin/bash
# Builds the image of Containerfile from a clone of HEAD, with Buildah and a base system created by debootstrap. Runs
# ./dev run and ./dev test in the image. Needs root.
# Usage: container_test.sh CACHE   (CACHE: folder of the base system and the compiler cache)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. tests/platforms/root.sh

[[ $# -eq 1 ]] || { echo "usage: container_test.sh CACHE" >&2; exit 2; }
((EUID == 0)) || die "needs root"
mkdir -p "$1/ccache"
cache=$(realpath -- "$1")
step_log=$cache/log # not build/dev.log, which may belong to another user
release=$(sed -n 's/^ARG base=debian:\([0-9]*\)-slim$/\1/p' Containerfile)
name=$(release_name "$release")
work=$(mktemp -d -- "$cache/container.XXXXXX")
readonly cache name work context=$work/context
trap 'rm -rf --one-file-system -- "$work"' EXIT
export BUILDAH_ISOLATION=chroot STORAGE_DRIVER=vfs

storage() {
  buildah --root "$work/storage" --runroot "$work/run" "$@"
}

# commit_base: creates the image localhost/base.
commit_base() {
  local container
  container=$(storage from scratch) && storage add --quiet "$container" "$cache/$name-base.tar" / &&
    storage commit --quiet --rm "$container" base
}

# build_image: builds the image localhost/tonecrate and creates the container `tonecrate` from it.
build_image() {
  storage build --pull=never --build-arg base=localhost/base --file Containerfile --tag tonecrate "$context" &&
    storage from --pull=never --name tonecrate localhost/tonecrate
}

# in_container COMMAND [ARGUMENT...]
in_container() {
  storage run --volume "$cache/ccache:/ccache" "${environment[@]/#/--env=}" tonecrate "$@"
}

make_base "$name" "$cache/$name-base.tar"
git clone --quiet --no-hardlinks . "$context"
step "Container: importing $name" commit_base
step "Container: building the image" build_image
step "Container: ./dev run" in_container ./dev run
printf 'Container: ./dev test\n' >&2
in_container ./dev test </dev/null
