#!/bin/bash
# Builds the image of Containerfile with Buildah, on a base made by debootstrap, and runs both commands of the README in
# it. Needs root.
# Usage: container_test.sh CACHE   (CACHE keeps the base)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. tests/platforms/root.sh

[[ $# -eq 1 ]] || { echo "usage: container_test.sh CACHE" >&2; exit 2; }
((EUID == 0)) || die "needs root"
mkdir -p "$1"
cache=$(realpath -- "$1")
step_log=$cache/log # not in the build folder of dev, which may not run as root
release=$(sed -n 's/^ARG base=debian:\([0-9]*\)-slim$/\1/p' Containerfile)
name=$(release_name "$release")
work=$(mktemp -d -- "$cache/container.XXXXXX")
readonly cache name work context=$work/context
trap 'rm -rf --one-file-system -- "$work"' EXIT
export BUILDAH_ISOLATION=chroot STORAGE_DRIVER=vfs

storage() {
  buildah --root "$work/storage" --runroot "$work/run" "$@"
}

# commit_base: names the image localhost/base.
commit_base() {
  local container
  container=$(storage from scratch) && storage add --quiet "$container" "$cache/$name.tar" / &&
    storage commit --quiet --rm "$container" base
}

# build_image: names the image localhost/tonecrate, and a container of it `tonecrate`.
build_image() {
  storage build --pull=never --build-arg base=localhost/base --file Containerfile --tag tonecrate "$context" &&
    storage from --pull=never --name tonecrate localhost/tonecrate
}

make_base "$name" "$cache/$name.tar"
git clone --quiet --no-hardlinks . "$context"
step "Container: importing $name" commit_base
step "Container: building the image" build_image
step "Container: ./dev run" storage run tonecrate ./dev run
printf 'Container: ./dev test\n' >&2
storage run tonecrate ./dev test </dev/null
