#!/bin/bash
# Runs ./dev run and ./dev test in a fresh clone of HEAD on another Debian release. Needs root.
# Usage: debian_test.sh RELEASE CACHE   (CACHE: folder of the base system, the unpacked system and the compiler cache)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. tests/platforms/root.sh

[[ $# -eq 2 ]] || { echo "usage: debian_test.sh RELEASE CACHE" >&2; exit 2; }
((EUID == 0)) || die "needs root"
name=$(release_name "$1")
mkdir -p "$2/ccache"
cache=$(realpath -- "$2")
step_log=$cache/log # not build/dev.log, which may belong to another user
root=$cache/$name-root
readonly name cache root clone=tonecrate

unpack() {
  mkdir "$root.new" && tar --extract --file="$cache/$name-base.tar" --directory="$root.new" && mv "$root.new" "$root"
}

if [[ ! -d $root ]]; then
  make_base "$name" "$cache/$name-base.tar"
  rm -rf --one-file-system -- "$root.new"
  step "Unpacking $name" unpack
fi
rm -rf --one-file-system -- "${root:?}/$clone"
git clone --quiet --no-hardlinks . "$root/$clone"
step "$name: ./dev run" in_root "$root" "$cache/ccache" "/$clone/dev" run
printf '%s: ./dev test\n' "$name" >&2
in_root "$root" "$cache/ccache" "/$clone/dev" test </dev/null
